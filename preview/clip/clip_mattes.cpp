#include "preview/clip/clip_mattes.h"

namespace kalvetra {

namespace {

constexpr KeyingChoice kLevels{.fields = FieldChoice::Off, .levels = true};
constexpr std::size_t kKept = std::size_t{64} << 20;  // bytes of a matte's pictures, and as many fitted

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

ClipMattes::ClipMattes(const ClipMattes& other) : guesses_(other.guesses_) {
  if (other.garbage_) garbage_ = std::make_unique<File>(*other.garbage_);
  if (other.holdout_) holdout_ = std::make_unique<File>(*other.holdout_);
}

Companions ClipMattes::at(std::int64_t number, const Abandon& abandoned, bool deep) {
  Companions mattes;
  if (garbage_) mattes.garbage = garbage_->at(number, abandoned, deep);
  if (holdout_) mattes.holdout = holdout_->at(number, abandoned, deep);
  return mattes;
}

ClipMattes::File::File(const std::string& path, const PictureFormat& clip, int threads, const std::atomic<bool>& stop)
    : clip_(clip), frames_(path, SourceOptions(), threads, stop, kLevels, kKept), fitted_(kKept) {}

ClipMattes::File::File(const File& other) : clip_(other.clip_), frames_(other.frames_, kKept), fitted_(kKept) {}

// After its end its last picture stays.
std::shared_ptr<const Image> ClipMattes::File::at(std::int64_t number, const Abandon& abandoned, bool deep) {
  const std::int64_t wanted = frames_.numberWithin(number, abandoned);
  {
    const std::lock_guard lock(mutex_);
    if (const auto* picture = fitted_.find({wanted, deep})) return *picture;
  }
  auto picture = std::make_shared<const Image>(
      fittedTo(clip_, frames_.format(), CompanionClip::Fit::Exact, *frames_.picture(wanted, abandoned, deep)));
  const std::lock_guard lock(mutex_);
  const std::size_t bytes = picture->bytes.size();
  return fitted_.add({wanted, deep}, std::move(picture), bytes);
}

}  // namespace kalvetra
