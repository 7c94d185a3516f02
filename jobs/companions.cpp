#include "jobs/companions.h"

namespace kalvetra {

CompanionFiles::CompanionFiles(const CompanionPaths& paths, const PictureFormat& clip, int threads,
                               const std::atomic<bool>& stop, bool deep) {
  const auto open = [&](Feed& feed, const std::string& path, const char* what) {
    if (!path.empty()) feed.file.emplace(path, what, CompanionClip::Fit::Exact, clip, threads, stop, deep);
  };
  open(garbage_, paths.garbage, "garbage matte");
  open(holdout_, paths.holdout, "holdout matte");
  if (paths.background.empty()) return;
  background_.emplace(paths.background, clip, paths.backgroundEnd, threads, stop, deep);
}

Companions CompanionFiles::at(std::int64_t number, double seconds) {
  return {garbage_.at(number), holdout_.at(number), background_ ? background_->at(seconds) : nullptr};
}

std::vector<std::string> CompanionFiles::guesses() const {
  std::vector<std::string> sentences;
  const auto add = [&sentences](const Reader* source) {
    if (source == nullptr || source->colorGuess().empty()) return;
    sentences.push_back(source->path() + " does not say how its colours are coded; taken for " + source->colorGuess());
  };
  for (const Feed* feed : {&garbage_, &holdout_}) add(feed->file ? &feed->file->source() : nullptr);
  add(background_ ? background_->source() : nullptr);
  return sentences;
}

std::vector<std::string> CompanionFiles::damage() const {
  std::vector<std::string> sentences;
  for (const Feed* feed : {&garbage_, &holdout_}) {
    if (!feed->file) continue;
    const Reader& source = feed->file->source();
    sentences.push_back(source.describeDamage(source.lostFrames(), source.damagedFrames()));
  }
  if (background_) sentences.push_back(background_->damage());
  std::erase(sentences, "");
  return sentences;
}

}  // namespace kalvetra
