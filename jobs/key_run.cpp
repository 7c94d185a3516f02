// What a prepared job does once its settings are known.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "jobs/clip_reader.h"
#include "jobs/frame_pipeline.h"
#include "jobs/job_identity.h"
#include "jobs/prepared_job.h"
#include "jobs/receipt.h"
#include "media/output/clip_movie.h"
#include "media/output/hash_sink.h"
#include "support/interrupted.h"
#include "support/number_text.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Pictures after which a resumable job is made safe: what a crash can cost.
constexpr std::size_t kSegmentFrames = 60;

void refuseDifferences(const std::string& path, const Proof& proof) {
  if (proof.differences.empty()) return;
  std::string all;
  for (const std::string& difference : proof.differences) all += (all.empty() ? "" : "; ") + difference;
  throw UserError(path + ": does not check out and was not kept: " + all + "; --no-verify would keep it");
}

bool hashesFrames(const KeyJob& job) {
  return job.resumable || !job.receipt.empty() || (job.verify && !job.outputs.empty());
}

}  // namespace

class KeyRun {
 public:
  KeyRun(PreparedJob& prepared, const AnimatedSettings& settings, std::shared_ptr<const ClipPlates> plates)
      : job_(prepared.job_),
        listener_(prepared.listener_),
        stop_(prepared.stop_),
        places_(prepared.places_),
        source_(prepared.source_),
        keying_(prepared.keying_),
        companions_(*prepared.companions_),
        wanted_{settings, hashesFrames(prepared.job_), std::move(plates)} {}

  JobResult run() {
    if (job_.resumable) openJournals();
    openSinks();
    keyAll();
    checkWhatWasRead();
    noteTimecode();
    if (result_.odd.any()) listener_.note(job_.input + ": " + describe(result_.odd));
    if (source_.jumped()) listener_.note(source_.describeJumps());
    finishAll();
    return std::move(result_);
  }

 private:
  std::deque<JobOutput>& outputs() { return places_.outputs(); }

  // All outputs go on after what every one of them has.
  void openJournals() {
    const std::string identity = jobIdentity(job_, wanted_.settings, keying_);
    int segments = std::numeric_limits<int>::max();
    for (JobOutput& output : outputs()) {
      output.openJournal(identity);
      if (output.journal().isAnew()) {
        listener_.note(output.request().path + ": an unfinished run keyed it at another depth; it is keyed anew");
      }
      segments = std::min(segments, output.journal().segments());
    }
    for (JobOutput& output : outputs()) output.keepSegments(segments);
    if (segments == 0) return;
    frames_ = outputs().front().journal().frames();
    listener_.note("going on after " + counted(static_cast<std::int64_t>(frames_.size()), "frame") +
                   " of an unfinished run");
  }

  void openSinks() {
    if (job_.measure == Measure::Null) measure_ = std::make_unique<NullSink>();
    if (job_.measure == Measure::Hash) {
      measure_ = std::make_unique<HashSink>(places_.hashFile(), job_.hashPath, source_.format().timeBase);
    }
    // The main view's route is the first: the clip's hash is of its pictures.
    if (measure_) routes_.push_back({job_.mainView, false, measure_.get(), nullptr});
    for (JobOutput& output : outputs()) {
      output.open(source_, job_, keying_, listener_);
      routes_.push_back(output.route());
    }
    routes_.front().followsSettings = job_.animatedView;
  }

  void keyAll() {
    const auto before = static_cast<std::int64_t>(frames_.size());
    const PictureFormat& format = source_.format();
    listener_.begin(job_.range.expectedFrames(source_.expectedFrames(), format.frameRate), before);
    clip_.emplace(source_, job_.range, before, job_.startNumber);
    keyFrames(*clip_, keying_, wanted_, companions_, routes_, job_.threads, stop_,
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
    result_.odd += frame.odd;
    if (wanted_.hashes) frames_.push_back(frame.record);
    if (job_.resumable) segment_.push_back(frame.record);
    if (segment_.size() == kSegmentFrames) closeSegment();
    listener_.frameDone();
  }

  void closeSegment() {
    for (JobOutput& output : outputs()) output.checkpoint(segment_);
    segment_.clear();
  }

  [[noreturn]] void throwInterrupted() const {
    if (!job_.resumable) throw Interrupted();
    throw Interrupted("interrupted; " + counted(result_.frames, "frame") + " are kept, the same command goes on");
  }

  // The first frame's timecode is its number from the clip's, whatever its time.
  void noteTimecode() const {
    const PictureFormat& format = source_.format();
    const double frames = static_cast<double>(clip_->origin()) * av_q2d(format.timeBase) * av_q2d(format.frameRate);
    const std::int64_t off = job_.range.firstFrame(format.frameRate) - std::llround(frames);
    if (off == 0 || !job_.range.start || timecodeOf(source_, 0).empty()) return;
    listener_.note(job_.input + ": its rate varies; the timecode counts frames and is " +
                   counted(std::abs(off), "frame") + (off < 0 ? " behind" : " ahead of") + " the time");
  }

  void checkWhatWasRead() {
    if (result_.frames == 0) throw UserError(job_.input + ": " + clip_->whyEmpty());
    const std::string own = source_.describeDamage(result_.lostFrames, result_.damagedFrames);
    std::vector<std::string> sentences = companions_.damage();
    if (!own.empty()) sentences.insert(sentences.begin(), own);
    if (sentences.empty()) return;
    for (const std::string& sentence : sentences) result_.damage += sentence + "; ";
    result_.damage += counted(result_.frames, "frame") + " could be keyed";
    if (!job_.keepPartial) {
      throw UserError(result_.damage + "; nothing was written, --keep-partial would keep them");
    }
  }

  void finishAll() {
    for (JobOutput& output : outputs()) output.finish(job_, *clip_, listener_, stop_);
    if (measure_) measure_->finish();
    if (stop_) throwInterrupted();
    if (wanted_.hashes) result_.clipHash = clipHash();
    for (JobOutput& output : outputs()) {
      const Proof proof = job_.verify ? output.check(job_, source_, frames_, stop_) : Proof();
      refuseDifferences(output.request().path, proof);
      result_.outputs.push_back({output.request(), proof, numbersOf(output)});
    }
    if (stop_) throwInterrupted();
    if (!job_.receipt.empty()) writeReceipt(places_.receiptFile(), job_, keying_, wanted_.settings, source_, result_);
    measure_.reset();
    places_.commit();
  }

  PictureHash clipHash() const {
    Hasher all;
    for (const FrameRecord& frame : frames_) all.add(frame.hash);
    return all.finish();
  }

  const KeyJob& job_;
  const JobListener& listener_;
  const std::atomic<bool>& stop_;
  JobPlaces& places_;
  Reader& source_;
  const ClipKeying& keying_;
  CompanionFiles& companions_;
  const Keying wanted_;
  std::optional<ClipReader> clip_;
  std::unique_ptr<PictureSink> measure_;
  std::vector<Route> routes_;
  std::vector<FrameRecord> frames_;   // written, by earlier runs too; where pictures are hashed
  std::vector<FrameRecord> segment_;  // the open one's
  JobResult result_;
};

JobResult PreparedJob::run(const AnimatedSettings& settings, std::shared_ptr<const ClipPlates> plates) {
  settledDepth(keying_.deep() ? DepthChoice::Deep : DepthChoice::Eight, settings.at(0));  // throws where it is not so
  return KeyRun(*this, settings, std::move(plates)).run();
}

JobResult PreparedJob::run(const AnimatedSettings& settings) {
  const FoundPlates found = platesFor(job_, settings, stop_);
  for (const std::string& sentence : found.notes) listener_.note(sentence);
  return run(settings, found.plates);
}

}  // namespace kalvetra
