#include "jobs/job_output.h"

#include "jobs/segment_join.h"
#include "media/files/numbered_name.h"
#include "support/folders.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Segments are cut and joined without encoding again, so each must stand alone.
void refuseUnresumable(const OutputRequest& request) {
  if (request.path == "-") throw UserError("a run into the standard output cannot be resumed; name a file");
  const OutputFormat& format = *request.delivery.format;
  const bool numbered = isNumberedName(std::filesystem::path(request.path).filename().string());
  if (format.isPictures() ? numbered : format.joins) return;
  throw UserError(request.path + ": " + format.what +
                  " cannot be written in parts; leave --resume out or choose another codec");
}

}  // namespace

JobOutput::JobOutput(const OutputRequest& request, const KeyJob& job) : request_(request) {
  if (job.resumable) refuseUnresumable(request);
  place_ = std::make_unique<TemporaryOutput>(request.path, job.replace,
                                             job.resumable ? Unfinished::Kept : Unfinished::Removed);
}

JobOutput::~JobOutput() {
  if (!journal_ || journal_->segments() > 0) return;
  sink_.reset();
  removeTree(workFolder());
}

Carried JobOutput::carried(const KeyJob& job, const Reader& source) const {
  Carried carried;
  carried.sound = job.sound && request_.delivery.format->keepsSound();
  carried.firstFrame = job.range.firstFrame(source.format().frameRate);
  carried.fromInside = job.range.start.has_value();
  carried.endsInside = job.range.end.has_value() || job.range.frames > 0;
  return carried;
}

void JobOutput::keepSegments(int count) {
  journal_->keep(count);
  if (count > 0) return;
  std::error_code ignored;
  for (const std::string& name : namesIn(workFolder())) {
    if (name != kJournalName) std::filesystem::remove(workFolder() / name, ignored);
  }
}

void JobOutput::open(Reader& source, const KeyJob& job, const ClipKeying& keying, const JobListener& listener) {
  request_.delivery.depth = keying.depth();
  request_.delivery.dither = keying.dithers() && !request_.delivery.levels;
  if (journal_) {
    auto writer =
        std::make_unique<SegmentedWriter>(request_.delivery, *place_, request_.path, source, job.threads, *journal_);
    segmented_ = writer.get();
    samples_.load(samplesPath());
    sink_ = std::move(writer);
    if (place_->isSequence()) {
      note(whatIsLeftOut(*request_.delivery.format, source, carried(job, source)), listener);
    }
    return;
  }
  WriterPart part;
  part.carried = carried(job, source);
  auto writer = std::make_unique<Writer>(request_.delivery, *place_, request_.path, source, job.threads, part);
  writer_ = writer.get();
  note(writer_->leftOut(), listener);
  noteSound(writer_->sound(), listener);
  sink_ = std::move(writer);
}

void JobOutput::note(const std::vector<std::string>& sentences, const JobListener& listener) const {
  for (const std::string& sentence : sentences) listener.note(request_.path + ": " + sentence);
}

// What was not noted yet.
void JobOutput::noteSound(const SoundOutcome& sound, const JobListener& listener) {
  const auto noted = static_cast<std::ptrdiff_t>(soundNotes_);
  note({sound.notes.begin() + noted, sound.notes.end()}, listener);
  soundNotes_ = sound.notes.size();
  soundStreams_ = sound.tracks;
}

Route JobOutput::route() {
  return {request_.view, false, sink_.get(), place_->isStandardOutput() ? nullptr : &samples_};
}

void JobOutput::checkpoint(const std::vector<FrameRecord>& segment) {
  sink_->checkpoint();
  samples_.save(samplesPath(), request_.path);
  journal_->add(segment);
}

void JobOutput::finish(const KeyJob& job, const ClipReader& clip, const JobListener& listener,
                       const std::atomic<bool>& stop) {
  sink_->finish();
  if (writer_ != nullptr) noteSound(writer_->sound(), listener);
  if (segmented_ == nullptr || place_->isSequence()) return;
  Reader source(job.input, job.source, job.threads, stop);
  JoinedMovie movie;
  movie.segments = segmented_->segments();
  movie.frames = journal_->frames();
  movie.origin = clip.origin();
  movie.soundEnd = clip.end();
  movie.carried = carried(job, source);
  noteSound(joinSegments(movie, request_.delivery, place_->path(), request_.path, source), listener);
  note(whatIsLeftOut(*request_.delivery.format, source, movie.carried), listener);
}

Proof JobOutput::check(const KeyJob& job, const Reader& source, const std::vector<FrameRecord>& frames,
                       const std::atomic<bool>& stop) const {
  if (place_->isStandardOutput()) return {};
  Promise promise;
  promise.delivery = request_.delivery;
  promise.frames = frames;
  promise.samples = samples_.chosen(static_cast<std::int64_t>(frames.size()));
  promise.pictures = source.format();
  promise.soundStreams = soundStreams_;
  promise.timecode = timecodeOf(source, job.range.firstFrame(source.format().frameRate));
  return prove(place_->path(), promise, job.threads, stop);
}

void JobOutput::prepare() {
  sink_.reset();
  place_->prepare();
}

void JobOutput::commit() {
  journal_.reset();
  place_->commit();
}

}  // namespace kalvetra
