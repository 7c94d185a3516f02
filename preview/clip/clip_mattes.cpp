#include "preview/clip/clip_mattes.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr KeyingChoice kLevels{.fields = FieldChoice::Off, .levels = true};
constexpr std::size_t kKept = std::size_t{64} << 20;  // bytes of a matte's pictures
constexpr std::size_t kMostFitted = 4;                // pictures

std::vector<std::string> checked(CompanionPaths paths, const PictureFormat& clip, const std::atomic<bool>& stop) {
  paths.background.clear();
  return CompanionFiles(paths, clip, 1, stop).guesses();
}

}  // namespace

ClipMattes::ClipMattes(const CompanionPaths& paths, const PictureFormat& clip, int threads,
                       const std::atomic<bool>& stop)
    : guesses_(checked(paths, clip, stop)) {
  if (!paths.garbage.empty()) garbage_ = std::make_unique<File>(paths.garbage, clip, threads, stop);
  if (!paths.holdout.empty()) holdout_ = std::make_unique<File>(paths.holdout, clip, threads, stop);
}

Companions ClipMattes::at(std::int64_t number, const Abandon& abandoned) {
  Companions mattes;
  if (garbage_) mattes.garbage = garbage_->at(number, abandoned);
  if (holdout_) mattes.holdout = holdout_->at(number, abandoned);
  return mattes;
}

ClipMattes::File::File(const std::string& path, const PictureFormat& clip, int threads, const std::atomic<bool>& stop)
    : clip_(clip), frames_(path, SourceOptions(), threads, stop, kLevels, kKept) {}

std::shared_ptr<const Image> ClipMattes::File::known(std::int64_t number) {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(fitted_.begin(), fitted_.end(), [number](const Fitted& f) { return f.number == number; });
  if (found == fitted_.end()) return nullptr;
  fitted_.splice(fitted_.begin(), fitted_, found);
  return found->picture;
}

// After its end its last picture stays.
std::shared_ptr<const Image> ClipMattes::File::at(std::int64_t number, const Abandon& abandoned) {
  const std::int64_t wanted = frames_.numberWithin(number, abandoned);
  if (auto picture = known(wanted)) return picture;
  auto picture = std::make_shared<const Image>(
      fittedTo(clip_, frames_.format(), CompanionClip::Fit::Exact, *frames_.picture(wanted, abandoned)));
  const std::lock_guard lock(mutex_);
  fitted_.push_front({wanted, picture});
  if (fitted_.size() > kMostFitted) fitted_.pop_back();
  return picture;
}

}  // namespace kalvetra
