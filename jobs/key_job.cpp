#include "jobs/key_job.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <limits>
#include <optional>

#include "jobs/clip_reader.h"
#include "jobs/frame_pipeline.h"
#include "jobs/job_identity.h"
#include "jobs/job_output.h"
#include "jobs/picture_numbers.h"
#include "jobs/receipt.h"
#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "media/input/source_depth.h"
#include "media/output/clip_movie.h"
#include "media/output/hash_sink.h"
#include "support/interrupted.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Pictures after which a resumable job is made safe: what a crash can cost.
constexpr std::size_t kSegmentFrames = 60;

class Run {
 public:
  Run(const KeyJob& job, const JobListener& listener, const std::atomic<bool>& stop)
      : job_(job), listener_(listener), stop_(stop) {
    refuseNames();
    if (job.resumable && job.input == kStandardInput) {
      throw UserError("the standard input cannot be read again to resume a run; name a file");
    }
    for (const OutputRequest& request : job.outputs) outputs_.emplace_back(request, job);
    if (!job.hashPath.empty()) openHashPlace();
    if (!job.receipt.empty()) receiptPlace_.emplace(job.receipt, job.replace);
    noteLeftParts();
    source_.emplace(job.input, job.source, job.threads, stop);
    refuseTakenNumbers();
    companions_.emplace(job.companions, source_->format(), job.threads, stop);
    clipKeying_.emplace(*source_, job.keying);
  }

  JobResult run() {
    noteGuesses();
    keying_.settings = listener_.settings(*source_);
    keying_.hashes = job_.resumable || !job_.receipt.empty() || (job_.verify && !job_.outputs.empty());
    if (job_.resumable) openJournals();
    openSinks();
    keyAll();
    checkWhatWasRead();
    noteTimecode();
    if (source_->jumped()) listener_.note(source_->describeJumps());
    finishAll();
    return std::move(result_);
  }

 private:
  void noteLeftParts() const {
    std::vector<std::string> sentences;
    const auto add = [&](const auto& place) {
      sentences.insert(sentences.end(), place.leftParts().begin(), place.leftParts().end());
    };
    for (const JobOutput& output : outputs_) add(output);
    for (const auto* place : {&hashPlace_, &receiptPlace_}) {
      if (*place) add(**place);
    }
    for (const std::string& sentence : sentences) listener_.note(sentence);
  }

  void noteGuesses() {
    if (!source_->colorGuess().empty()) {
      listener_.note(job_.input + " does not say how its colours are coded; taken for " + source_->colorGuess() +
                     ", by its height");
    }
    for (const std::string& sentence : companions_->guesses()) listener_.note(sentence);
    if (clipKeying_->fields() && job_.keying.fields == FieldChoice::Auto)
      listener_.note(job_.input + " is interlaced: keyed field by field");
    noteDepth();
  }

  void noteDepth() const {
    const int depth = colorDepth(*source_);
    if (depth > 8) {
      listener_.note(
          job_.input + ": the keyer works in 8 bits; the clip's " + std::to_string(depth) +
          (clipKeying_->dithers() ? " are dithered to them" : " are rounded to them, --dither spreads them"));
    }
    const char* transfer = av_color_transfer_name(source_->format().color.transfer);
    const std::string hdr = hdrWarning(transfer != nullptr ? transfer : "");
    if (!hdr.empty()) listener_.note(job_.input + ": " + hdr);
  }

  // Every file is written once, and none that is read is written, but for a preset that is brought up to date.
  void refuseNames() const {
    std::vector<std::string> written{job_.hashPath, job_.receipt, job_.settingsWritten};
    for (const OutputRequest& request : job_.outputs) written.push_back(request.path);
    if (job_.measure == Measure::Hash && job_.hashPath.empty()) written.emplace_back("-");
    const std::string read[] = {job_.input, job_.settingsRead, job_.companions.garbage, job_.companions.holdout,
                                job_.companions.background};
    for (std::size_t i = 0; i < written.size(); ++i) {
      const std::string& path = written[i];
      if (path.empty()) continue;
      for (std::size_t j = 0; j < i; ++j) {
        if (!written[j].empty() && isSameFile(written[j], path)) {
          throw UserError(path + ": is named for two outputs; give each a file of its own");
        }
      }
      for (const std::string& other : read) {
        const bool updatesPreset = path == job_.settingsWritten && other == job_.settingsRead;
        if (!other.empty() && path != "-" && !updatesPreset) refuseOverwritingInput(other, path);
      }
    }
    for (const std::string& path : {job_.receipt, job_.settingsWritten}) {
      if (path == "-" || isNumberedName(std::filesystem::path(path).filename().string())) {
        throw UserError(path + ": a receipt or a preset is one file; name it without a % and not -");
      }
    }
  }

  void openHashPlace() {
    hashPlace_.emplace(job_.hashPath, job_.replace);
    if (hashPlace_->isSequence()) throw UserError(job_.hashPath + ": the hashes go to one file; name it without a %");
  }

  bool isNumbered() const {
    return std::any_of(outputs_.begin(), outputs_.end(), [](const JobOutput& output) { return output.isSequence(); });
  }

  // What is not known yet is refused as soon as it is.
  void refuseTakenNumbers() const {
    if (job_.replace || !isNumbered()) return;
    const std::vector<int> numbers = expectedNumbers(job_, *source_);
    for (const JobOutput& output : outputs_) output.refuseTaken(numbers);
  }

  // All outputs go on after what every one of them has.
  void openJournals() {
    const std::string identity = jobIdentity(job_, keying_.settings, *clipKeying_);
    int segments = std::numeric_limits<int>::max();
    for (JobOutput& output : outputs_) {
      output.openJournal(identity);
      segments = std::min(segments, output.journal().segments());
    }
    for (JobOutput& output : outputs_) output.keepSegments(segments);
    if (segments == 0) return;
    frames_ = outputs_.front().journal().frames();
    listener_.note("going on after " + counted(static_cast<std::int64_t>(frames_.size()), "frame") +
                   " of an unfinished run");
  }

  void openSinks() {
    if (job_.measure == Measure::Null) measure_ = std::make_unique<NullSink>();
    if (job_.measure == Measure::Hash) {
      measure_ = std::make_unique<HashSink>(hashPlace_ ? hashPlace_->path() : std::string(), job_.hashPath,
                                            source_->format().timeBase);
    }
    // The main view's route is the first: the clip's hash is of its pictures.
    if (measure_) routes_.push_back({job_.mainView, false, measure_.get(), nullptr});
    for (JobOutput& output : outputs_) {
      output.open(*source_, job_, listener_);
      routes_.push_back(output.route());
    }
    routes_.front().followsSettings = job_.animatedView;
  }

  void keyAll() {
    const auto before = static_cast<std::int64_t>(frames_.size());
    const PictureFormat& format = source_->format();
    listener_.begin(job_.range.expectedFrames(source_->expectedFrames(), format.frameRate), before);
    clip_.emplace(*source_, job_.range, before, job_.startNumber);
    keyFrames(*clip_, *clipKeying_, keying_, *companions_, routes_, job_.threads, stop_,
              [this](const WrittenFrame& frame) { noteWritten(frame); });
    listener_.end();
    result_.frames = before + result_.keyedNow;
    result_.lostFrames = clip_->lostFrames();
    result_.damagedFrames = clip_->damagedFrames();
    if (!segment_.empty()) closeSegment();
    if (stop_) throwInterrupted();
  }

  // Of a numbered output's pictures.
  std::vector<int> numbersOf(const JobOutput& output) const {
    std::vector<int> numbers;
    for (const FrameRecord& frame : frames_) {
      if (output.isSequence()) numbers.push_back(frame.number);
    }
    return numbers;
  }

  void noteWritten(const WrittenFrame& frame) {
    ++result_.keyedNow;
    result_.status += frame.status;
    if (keying_.hashes) frames_.push_back(frame.record);
    if (job_.resumable) segment_.push_back(frame.record);
    if (segment_.size() == kSegmentFrames) closeSegment();
    listener_.frameDone();
  }

  void closeSegment() {
    for (JobOutput& output : outputs_) output.checkpoint(segment_);
    segment_.clear();
  }

  [[noreturn]] void throwInterrupted() const {
    if (!job_.resumable) throw Interrupted();
    throw Interrupted("interrupted; " + counted(result_.frames, "frame") + " are kept, the same command goes on");
  }

  // The first frame's timecode is its number from the clip's, whatever its time.
  void noteTimecode() const {
    const PictureFormat& format = source_->format();
    const double frames = static_cast<double>(clip_->origin()) * av_q2d(format.timeBase) * av_q2d(format.frameRate);
    const std::int64_t off = job_.range.firstFrame(format.frameRate) - std::llround(frames);
    if (off == 0 || !job_.range.start || timecodeOf(*source_, 0).empty()) return;
    listener_.note(job_.input + ": its rate varies; the timecode counts frames and is " +
                   counted(std::abs(off), "frame") + (off < 0 ? " behind" : " ahead of") + " the time");
  }

  void checkWhatWasRead() {
    if (result_.frames == 0) throw UserError(job_.input + ": " + clip_->whyEmpty());
    const std::string own = source_->describeDamage(result_.lostFrames, result_.damagedFrames);
    std::vector<std::string> sentences = companions_->damage();
    if (!own.empty()) sentences.insert(sentences.begin(), own);
    if (sentences.empty()) return;
    for (const std::string& sentence : sentences) result_.damage += sentence + "; ";
    result_.damage += counted(result_.frames, "frame") + " could be keyed";
    if (!job_.keepPartial) {
      throw UserError(result_.damage + "; nothing was written, --keep-partial would keep them");
    }
  }

  void finishAll() {
    for (JobOutput& output : outputs_) output.finish(job_, *clip_, listener_, stop_);
    if (measure_) measure_->finish();
    if (stop_) throwInterrupted();
    if (keying_.hashes) result_.clipHash = clipHash();
    for (JobOutput& output : outputs_) {
      const Proof proof = job_.verify ? output.check(job_, *source_, frames_, stop_) : Proof();
      refuseDifferences(output.request().path, proof);
      result_.outputs.push_back({output.request(), proof, numbersOf(output)});
    }
    if (stop_) throwInterrupted();
    if (receiptPlace_) writeReceipt(receiptPlace_->path(), job_, *clipKeying_, keying_.settings, *source_, result_);
    measure_.reset();
    putInPlace();
  }

  // Nothing goes into its place before everything can.
  void putInPlace() {
    for (JobOutput& output : outputs_) output.prepare();
    for (auto* place : {&hashPlace_, &receiptPlace_}) {
      if (*place) (*place)->prepare();
    }
    for (JobOutput& output : outputs_) output.commit();
    if (hashPlace_) hashPlace_->commit();
    if (receiptPlace_) receiptPlace_->commit();
  }

  PictureHash clipHash() const {
    Hasher all;
    for (const FrameRecord& frame : frames_) all.add(frame.hash);
    return all.finish();
  }

  static void refuseDifferences(const std::string& path, const Proof& proof) {
    if (proof.differences.empty()) return;
    std::string all;
    for (const std::string& difference : proof.differences) all += (all.empty() ? "" : "; ") + difference;
    throw UserError(path + ": does not check out and was not kept: " + all + "; --no-verify would keep it");
  }

  const KeyJob& job_;
  const JobListener& listener_;
  const std::atomic<bool>& stop_;
  std::deque<JobOutput> outputs_;
  std::optional<TemporaryOutput> hashPlace_, receiptPlace_;
  std::optional<Reader> source_;
  std::optional<ClipKeying> clipKeying_;
  std::optional<ClipReader> clip_;
  std::optional<CompanionFiles> companions_;
  std::unique_ptr<PictureSink> measure_;
  std::vector<Route> routes_;
  Keying keying_;
  std::vector<FrameRecord> frames_;   // written, by earlier runs too; with `keying_.hashes`
  std::vector<FrameRecord> segment_;  // the open one's
  JobResult result_;
};

}  // namespace

JobResult runKeyJob(const KeyJob& job, const JobListener& listener, const std::atomic<bool>& stop) {
  return Run(job, listener, stop).run();
}

}  // namespace kalvetra
