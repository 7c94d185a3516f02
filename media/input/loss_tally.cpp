#include "media/input/loss_tally.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr std::int64_t kEndTolerance = AV_TIME_BASE / 4;  // declared durations are a little long in many sound files

}  // namespace

void LossTally::addPacket(const AVPacket& packet, bool isPicture, std::int64_t end) {
  reached_ = std::max(reached_, end);
  if (mayJump_) {
    const std::int64_t skipped = stretches_.add(packet, isPicture, pictureDuration_);
    if (skipped > 0) spoilt_.miss();
    skipped_ += skipped;
  }
  if (!isPicture) return;
  ++packets_;
  if ((packet.flags & AV_PKT_FLAG_DISCARD) != 0) ++discarded_;
}

void LossTally::addUnreadable() {
  ++packets_;
  addUndecodable();
}

void LossTally::addUndecodable() {
  ++undecodable_;
  spoilt_.miss();
}

void LossTally::addPicture(const AVFrame& picture) {
  ++delivered_;
  spoilt_.add(picture);
}

// A decoder drops pictures silently once it has met damage; some codecs have packets without a picture at any time. So
// the two are compared only when something is known to be wrong.
std::int64_t LossTally::lost(bool atEnd) const {
  if (!atEnd) return skipped_ + undecodable_;  // the decoder still holds pictures
  const std::int64_t absent = std::max<std::int64_t>(missing(), cutShort_ ? 1 : 0);
  if (absent + undecodable_ + spoilt() == 0) return skipped_;
  return skipped_ + absent + std::max(undecodable_, packets_ - discarded_ - delivered_);
}

// Pictures that the file declares and does not hold. Without a count, a file that ends well before its declared
// duration is cut off.
std::int64_t LossTally::missing() const {
  if (declared_.packets > 0) return std::max<std::int64_t>(declared_.packets - packets_, 0);
  if (declared_.duration <= 0 || declared_.duration - reached_ < kEndTolerance) return 0;
  return std::max<std::int64_t>(declared_.expected - packets_ - skipped_, 1);
}

}  // namespace kalvetra
