#include "jobs/job_output.h"

#include "jobs/segment_join.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Segments are cut and joined without encoding again, so each must stand alone.
void refuseUnresumable(const OutputRequest& request) {
  if (request.path == "-") throw UserError("a run into the standard output cannot be resumed; name a file");
  const std::string& codec = request.delivery.format->slug;
  const bool singlePicture =
      request.delivery.format->isPictures() && !isNumberedName(std::filesystem::path(request.path).filename().string());
  if (codec != "h264" && codec != "av1" && codec != "raw" && codec != "nut" && !singlePicture) return;
  throw UserError(request.path + ": " + request.delivery.format->what +
                  " cannot be written in parts; leave --resume out or choose another codec");
}

}  // namespace

JobOutput::JobOutput(const OutputRequest& request, const KeyJob& job) : request_(request) {
  if (job.resumable) refuseUnresumable(request);
  if (request.path != "-") refuseOverwritingInput(job.input, request.path);
  place_ = std::make_unique<TemporaryOutput>(request.path, job.replace,
                                             job.resumable ? Unfinished::Kept : Unfinished::Removed);
}

Carried JobOutput::carried(const KeyJob& job, const Reader& source) const {
  return {request_.delivery.format->keepsSound, job.range.firstFrame(source.format().frameRate)};
}

void JobOutput::open(Reader& source, const KeyJob& job, const Journal* journal, const JobListener& listener) {
  if (journal != nullptr) {
    auto writer =
        std::make_unique<SegmentedWriter>(request_.delivery, *place_, request_.path, source, job.threads, *journal);
    segmented_ = writer.get();
    samples_.load(samplesPath());
    sink_ = std::move(writer);
    return;
  }
  WriterPart part;
  part.carried = carried(job, source);
  auto writer = std::make_unique<Writer>(request_.delivery, *place_, request_.path, source, job.threads, part);
  for (const std::string& sentence : writer->leftOut()) listener.note(request_.path + ": " + sentence);
  soundStreams_ = writer->soundStreams();
  sink_ = std::move(writer);
}

void JobOutput::removeLeftovers() const {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(workFolder())) {
    if (entry.path().filename() != "journal") std::filesystem::remove(entry.path(), ignored);
  }
}

Route JobOutput::route() {
  return {request_.view, false, sink_.get(), place_->isStandardOutput() ? nullptr : &samples_};
}

void JobOutput::checkpoint() {
  sink_->checkpoint();
  samples_.save(samplesPath());
}

void JobOutput::finish(const KeyJob& job, const Journal* journal, std::int64_t origin, const std::atomic<bool>& stop) {
  sink_->finish();
  if (segmented_ == nullptr || place_->isSequence()) return;
  Reader source(job.input, job.source, job.threads, stop);
  JoinedMovie movie;
  movie.segments = segmented_->segments();
  movie.frames = journal->frames();
  movie.origin = origin;
  movie.cutsSound = !job.range.isWhole();
  movie.carried = carried(job, source);
  soundStreams_ = joinSegments(movie, request_.delivery, place_->path(), request_.path, source);
}

Proof JobOutput::check(const KeyJob& job, const Reader& source, std::int64_t frames,
                       const std::atomic<bool>& stop) const {
  if (place_->isStandardOutput()) return {};
  Promise promise;
  promise.delivery = request_.delivery;
  promise.frames = frames;
  promise.samples = samples_.chosen(frames);
  promise.pictures = source.format();
  promise.soundStreams = soundStreams_;
  promise.timecode = timecodeOf(source, job.range.firstFrame(source.format().frameRate));
  return prove(place_->isSequence() ? place_->sequencePath() : place_->path(), promise, job.threads, stop);
}

void JobOutput::commit() {
  sink_.reset();
  place_->commit();
}

}  // namespace kalvetra
