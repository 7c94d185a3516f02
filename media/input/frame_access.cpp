#include "media/input/frame_access.h"

#include <algorithm>
#include <utility>

#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::int64_t kNear = 8;  // pictures that are decoded rather than jumped over
constexpr int kMostJumps = 3;      // before it is clear that only the start will do

std::size_t bytesOf(const AVFrame& picture) {
  const int bytes =
      av_image_get_buffer_size(static_cast<AVPixelFormat>(picture.format), picture.width, picture.height, 1);
  return static_cast<std::size_t>(std::max(bytes, 1));
}

// Something that the picture refers to is missing, or its data is damaged.
bool isDamaged(const AVFrame& picture) {
  return (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0 || picture.decode_error_flags != 0;
}

std::shared_ptr<const AVFrame> shared(FramePtr frame) {
  return {frame.release(), [](const AVFrame* p) { FrameDeleter()(const_cast<AVFrame*>(p)); }};
}

}  // namespace

FrameAccess::FrameAccess(const std::string& path, const SourceOptions& options, int threads,
                         const std::atomic<bool>& stop, std::size_t keptBytes)
    : path_(path), options_(options), threads_(threads), stop_(stop), kept_(keptBytes) {
  reopen();
}

void FrameAccess::reopen() {
  reader_ = std::make_unique<Reader>(path_, options_, threads_, stop_, Decoding::Fast);
  position_ = 0;
  ahead_.reset();
}

void FrameAccess::setIndex(std::shared_ptr<const PictureIndex> index) {
  index_ = std::move(index);
  trusts_ = index_ != nullptr && index_->reliable;
}

std::int64_t FrameAccess::firstTime() {
  if (!firstTime_ && frame(0) == nullptr) throw UserError(path_ + ": no picture in it can be read; check the file");
  return *firstTime_;
}

std::shared_ptr<const AVFrame> FrameAccess::frame(std::int64_t number, const std::function<bool()>& abandoned) {
  if (number < 0 || (count_ && number >= *count_)) return nullptr;
  if (trusts_ && number >= static_cast<std::int64_t>(index_->times.size())) return nullptr;
  if (const auto* picture = kept_.find(number)) return *picture;
  if (!decodesFromHere(number) && !goTo(number)) reopen();
  while (!stop_ && !(abandoned && abandoned())) {
    const bool trusted = trusts_;
    const std::int64_t here = position_;
    auto picture = next();
    if (trusted && !trusts_) {  // numbered wrongly until now
      reopen();
      continue;
    }
    if (picture == nullptr) {
      if (!stop_) count_ = here;
      return nullptr;
    }
    if (!kept_.contains(here)) kept_.add(here, picture, bytesOf(*picture));
    if (here == number) return picture;
  }
  return nullptr;
}

std::int64_t FrameAccess::distance(std::int64_t number) const {
  if (kept_.contains(number)) return 0;
  if (decodesFromHere(number)) return number - position_ + 1;
  return number - (trusts_ ? keyBefore(number) : 0) + 1;
}

// Number of the last key picture up to that picture; 0 where there is none.
std::int64_t FrameAccess::keyBefore(std::int64_t number) const {
  const auto next = std::upper_bound(index_->keys.begin(), index_->keys.end(), number);
  return next == index_->keys.begin() ? 0 : *std::prev(next);
}

bool FrameAccess::decodesFromHere(std::int64_t number) const {
  if (position_ > number) return false;
  return !trusts_ || number - position_ < kNear || keyBefore(number) <= position_;
}

// Jumps to a key picture from which that picture is reached. False, with the reader anywhere, when none is found.
bool FrameAccess::goTo(std::int64_t number) {
  if (!trusts_) return false;
  std::int64_t key = keyBefore(number);
  for (int jump = 0; jump < kMostJumps && key > 0; ++jump) {
    if (jumpToKey(key) && position_ <= number) return true;
    key = keyBefore(key - 1);
  }
  return false;
}

// What comes before the first key picture may refer to what was jumped over, and is left out.
bool FrameAccess::jumpToKey(std::int64_t key) {
  ahead_.reset();
  const std::int64_t time = index_->times[static_cast<std::size_t>(key)];
  if (!reader_->seekPicture(time)) return false;
  for (SourceFrame source; reader_->next(source); source.picture.reset()) {
    if (source.picture->key_frame == 0) {
      if (source.time >= time) return false;
      continue;
    }
    const auto found = std::lower_bound(index_->times.begin(), index_->times.end(), source.time);
    if (found == index_->times.end() || *found != source.time || isDamaged(*source.picture)) return false;
    position_ = found - index_->times.begin();
    ahead_ = shared(std::move(source.picture));
    return true;
  }
  return false;
}

// The picture at the position, which moves on; null at the end. A time that the index does not have there, and damage
// that a jump may have caused, end the trust in it.
std::shared_ptr<const AVFrame> FrameAccess::next() {
  if (ahead_) {
    ++position_;
    return std::exchange(ahead_, nullptr);
  }
  SourceFrame source;
  if (!reader_->next(source)) {
    if (trusts_ && position_ != static_cast<std::int64_t>(index_->times.size())) distrust();
    return nullptr;
  }
  if (position_ == 0 && !firstTime_) firstTime_ = source.time;
  if (trusts_) {
    const auto here = static_cast<std::size_t>(position_);
    const bool expected = here < index_->times.size() && index_->times[here] == source.time;
    if (!expected || isDamaged(*source.picture)) distrust();
  }
  ++position_;
  return shared(std::move(source.picture));
}

void FrameAccess::distrust() {
  trusts_ = false;
  ++generation_;
  count_.reset();
  kept_.clear();
}

}  // namespace kalvetra
