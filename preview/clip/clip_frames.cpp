#include "preview/clip/clip_frames.h"

#include <algorithm>

#include "support/interrupted.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::int64_t kNearStart = 60;  // pictures that are decoded without waiting for the index
constexpr std::chrono::milliseconds kPatience{3000}, kGlance{20};

const std::string& searchable(const std::string& path) {
  if (path == kStandardInput) throw UserError("the standard input cannot be searched for pictures; name a file");
  return path;
}

}  // namespace

ClipFrames::ClipFrames(const std::string& path, const SourceOptions& options, int threads,
                       const std::atomic<bool>& stop, const KeyingChoice& choice, std::size_t keptBytes)
    : stop_(stop),
      keptConverted_(keptBytes / 2),
      description_(searchable(path), options, 1, stop),
      keying_(description_, choice),
      access_(path, options, threads, stop, keptBytes) {
  const std::int64_t firstTime = access_.firstTime();
  index_ = std::async(std::launch::async, [this, path, options, firstTime] {
    auto index = std::make_shared<PictureIndex>();
    try {
      *index = indexPictures(path, options, firstTime, closing_);
    } catch (const UserError&) {  // it was there a moment ago: what is decoded tells of it
    }
    return std::shared_ptr<const PictureIndex>(std::move(index));
  });
}

ClipFrames::~ClipFrames() {
  closing_ = true;
  index_.wait();
}

// Waits that long at most. Call it with decoding_ held.
bool ClipFrames::takeIndex(std::chrono::milliseconds patience) {
  if (access_.hasIndex()) return true;
  if (index_.wait_for(patience) != std::future_status::ready) return false;
  access_.setIndex(index_.get());
  return true;
}

std::shared_ptr<const PictureIndex> ClipFrames::index() const {
  const bool ready = index_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  return ready ? index_.get() : nullptr;
}

std::int64_t ClipFrames::count() {
  index_.wait_for(kPatience);
  const std::lock_guard lock(decoding_);
  takeIndex({});
  return knownCount().value_or(std::max<std::int64_t>(description_.expectedFrames(), 1));
}

// Call it with decoding_ held.
std::optional<std::int64_t> ClipFrames::knownCount() const {
  if (access_.count() || !access_.hasIndex()) return access_.count();
  const PictureIndex& index = *index_.get();
  return std::max<std::int64_t>(index.reliable ? static_cast<std::int64_t>(index.times.size()) : index.pictures, 1);
}

std::int64_t ClipFrames::numberWithin(std::int64_t number, const Abandon& abandoned) {
  const std::lock_guard lock(decoding_);
  awaitIndexFor(number, abandoned);
  if (!access_.hasIndex()) access_.frame(number, abandoned);  // near enough: it meets the end, if there is one before
  return std::min(number, knownCount().value_or(number + 1) - 1);
}

std::shared_ptr<const Image> ClipFrames::known(std::int64_t number) {
  const std::lock_guard lock(mutex_);
  const auto found =
      std::find_if(converted_.begin(), converted_.end(), [number](const Converted& c) { return c.number == number; });
  if (found == converted_.end()) return nullptr;
  converted_.splice(converted_.begin(), converted_, found);
  return found->image;
}

void ClipFrames::remember(std::int64_t number, const std::shared_ptr<const Image>& image) {
  const std::lock_guard lock(mutex_);
  converted_.push_front({number, image});
  const std::size_t most = std::max<std::size_t>(keptConverted_ / std::max<std::size_t>(image->argb.size(), 1), 2);
  while (converted_.size() > most) converted_.pop_back();
}

std::unique_ptr<FrameConverter> ClipFrames::takeConverter() {
  const std::lock_guard lock(mutex_);
  if (converters_.empty()) return std::make_unique<FrameConverter>(keying_.converter());
  auto converter = std::move(converters_.back());
  converters_.pop_back();
  return converter;
}

void ClipFrames::refuse(std::int64_t number, const Abandon& abandoned) const {
  if (stop_) throw Interrupted();
  if (abandoned && abandoned()) throw Conflict("the request was overtaken by a newer one");
  throw UserError("the clip has no frame " + std::to_string(number) + "; they are numbered from 0");
}

void ClipFrames::awaitIndexFor(std::int64_t number, const Abandon& abandoned) {
  while (!takeIndex(kGlance)) {
    if (access_.distance(number) <= kNearStart) return;
    if (stop_ || (abandoned && abandoned())) refuse(number, abandoned);
  }
}

std::shared_ptr<const AVFrame> ClipFrames::decoded(std::int64_t number, const Abandon& abandoned) {
  const std::lock_guard lock(decoding_);
  awaitIndexFor(number, abandoned);
  auto frame = access_.frame(number, abandoned);
  if (generation_ != access_.generation()) {
    generation_ = access_.generation();
    const std::lock_guard forgetting(mutex_);
    converted_.clear();
  }
  if (frame == nullptr) refuse(number, abandoned);
  return frame;
}

std::shared_ptr<const Image> ClipFrames::picture(std::int64_t number, const Abandon& abandoned) {
  if (auto image = known(number)) return image;
  const auto frame = decoded(number, abandoned);
  auto converter = takeConverter();
  auto image = std::make_shared<Image>();
  converter->convert(*frame, *image);
  {
    const std::lock_guard lock(mutex_);
    converters_.push_back(std::move(converter));
  }
  remember(number, image);
  return image;
}

}  // namespace kalvetra
