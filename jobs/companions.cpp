#include "jobs/companions.h"

namespace kalvetra {

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

std::vector<const Reader*> CompanionFiles::sources() const {
  std::vector<const Reader*> sources;
  for (const auto* feed : {&garbage_, &holdout_}) {
    if (feed->file) sources.push_back(&feed->file->source());
  }
  if (background_.file && background_.file->source() != nullptr) sources.push_back(background_.file->source());
  return sources;
}

std::vector<std::string> CompanionFiles::guesses() const {
  std::vector<std::string> sentences;
  for (const Reader* source : sources()) {
    if (source->colorGuess().empty()) continue;
    sentences.push_back(source->path() + " does not say how its colours are coded; taken for " + source->colorGuess());
  }
  return sentences;
}

std::vector<std::string> CompanionFiles::damage() const {
  std::vector<std::string> sentences;
  for (const Reader* source : sources()) {
    const std::string sentence = source->describeDamage(source->lostFrames(), source->damagedFrames());
    if (!sentence.empty()) sentences.push_back(sentence);
  }
  return sentences;
}

}  // namespace kalvetra
