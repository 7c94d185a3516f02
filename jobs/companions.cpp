#include "jobs/companions.h"

namespace kalvetra {

namespace {

void noteGuess(const Reader& source, std::vector<std::string>& notes) {
  if (source.colorGuess().empty()) return;
  notes.push_back(source.path() + " does not say how its colours are coded; taken for " + source.colorGuess());
}

}  // namespace

CompanionFiles::CompanionFiles(const CompanionPaths& paths, const PictureFormat& clip, int threads,
                               const std::atomic<bool>& stop) {
  const auto open = [&](Feed<CompanionClip>& feed, const std::string& path, const char* what) {
    if (!path.empty()) feed.file.emplace(path, what, CompanionClip::Fit::Exact, clip, threads, stop);
  };
  open(garbage_, paths.garbage, "garbage matte");
  open(holdout_, paths.holdout, "holdout matte");
  if (!paths.background.empty()) background_.file.emplace(paths.background, clip, threads, stop);
}

Companions CompanionFiles::at(std::int64_t number, std::int64_t index) {
  return {garbage_.at(number), holdout_.at(number), background_.at(index)};
}

std::vector<std::string> CompanionFiles::notes() const {
  std::vector<std::string> notes;
  for (const auto* feed : {&garbage_, &holdout_}) {
    if (feed->file) noteGuess(feed->file->source(), notes);
  }
  if (background_.file && background_.file->source() != nullptr) noteGuess(*background_.file->source(), notes);
  return notes;
}

}  // namespace kalvetra
