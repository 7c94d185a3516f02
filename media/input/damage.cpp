#include "media/input/damage.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr std::size_t kMostReordered = 16;  // pictures that a decoder may hold back
constexpr std::int64_t kStructure = 4096;   // bytes between packets that need not be pictures or sound

}  // namespace

void SpoiltPictures::add(const AVFrame& picture) {
  const bool bad = picture.decode_error_flags != 0 || (picture.flags & AV_FRAME_FLAG_CORRUPT) != 0;
  if (bad) {
    const auto storedLater = [&](std::int64_t place) { return picture.pkt_pos >= 0 && place > picture.pkt_pos; };
    count_ += std::count_if(places_.begin(), places_.end(), storedLater);
    std::erase_if(places_, storedLater);
    spoilt_ = true;
  } else if (picture.key_frame != 0) {
    spoilt_ = false;
  }
  if (bad || spoilt_) {
    ++count_;
    return;
  }
  places_.push_back(picture.pkt_pos);
  if (places_.size() > kMostReordered) places_.pop_front();
}

std::int64_t SkippedStretches::add(const AVPacket& packet, bool isPicture, std::int64_t duration) {
  if (packet.pos >= 0) {
    jumped_ = jumped_ || (end_ >= 0 && packet.pos - end_ > kStructure);
    end_ = packet.pos + packet.size;
  }
  if (!isPicture) return 0;
  std::int64_t skipped = 0;
  if ((packet.flags & AV_PKT_FLAG_KEY) != 0 && packet.pts != AV_NOPTS_VALUE) {
    if (jumped_ && keyTime_ != AV_NOPTS_VALUE) {
      const std::int64_t between = (packet.pts - keyTime_ + duration / 2) / duration;
      skipped = std::max<std::int64_t>(between - sinceKey_, 0);
    }
    jumped_ = false;
    keyTime_ = packet.pts;
    sinceKey_ = 0;
  }
  ++sinceKey_;
  return skipped;
}

}  // namespace kalvetra
