#include "jobs/prepared_job.h"

#include "media/input/source_depth.h"

namespace kalvetra {

PreparedJob::PreparedJob(const KeyJob& job, const JobListener& listener, const std::atomic<bool>& stop)
    : job_(job),
      listener_(listener),
      stop_(stop),
      places_(job, listener),
      source_(job.input, job.source, job.threads, stop),
      keying_(source_, job.keying) {
  places_.refuseTakenNumbers(job, source_);
  companions_.emplace(job.companions, source_.format(), job.threads, stop, keying_.deep());
  noteGuesses();
}

void PreparedJob::noteGuesses() const {
  if (!source_.colorGuess().empty()) {
    listener_.note(job_.input + " does not say how its colours are coded; taken for " + source_.colorGuess() +
                   ", by its height");
  }
  for (const std::string& sentence : companions_->guesses()) listener_.note(sentence);
  if (keying_.fields() && job_.keying.fields == FieldChoice::Auto)
    listener_.note(job_.input + " is interlaced: keyed field by field");
  noteDepth();
}

void PreparedJob::noteDepth() const {
  const int depth = colorDepth(source_);
  if (depth > 8 && !keying_.deep()) {
    listener_.note(job_.input + ": the keyer works in 8 bits; the clip's " + std::to_string(depth) +
                   (keying_.dithers() ? " are dithered to them" : " are rounded to them, --dither spreads them"));
  }
  const char* transfer = av_color_transfer_name(source_.format().color.transfer);
  const std::string hdr = hdrWarning(transfer != nullptr ? transfer : "", keying_.deep());
  if (!hdr.empty()) listener_.note(job_.input + ": " + hdr);
}

}  // namespace kalvetra
