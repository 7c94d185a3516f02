#include "media/input/continuous_clock.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace kalvetra {

namespace {

constexpr std::int64_t kUnknown = AV_NOPTS_VALUE;
constexpr std::int64_t kMost = std::int64_t{1} << 56;  // greater times are nonsense, and sums might overflow
constexpr double kLeap = 10.0;                         // seconds ahead of all that came before
constexpr double kSoundBack = 0.1;                     // seconds that sound may go back without a jump
constexpr double kSoundWaits = 2.0;                    // seconds of pictures for which sound waits for their jump
constexpr std::size_t kReordered = 32;                 // packets that may come before one shown earlier: fields of 16
constexpr std::size_t kMostPictures = 64;              // held, until the first one of a part is known
constexpr std::size_t kMostSound = 4096;               // packets held of a track

bool isTime(std::int64_t time) { return time > -kMost && time < kMost; }

bool isTimed(const AVPacket& packet) { return isTime(packet.pts) && packet.duration < kMost; }

std::int64_t rescaled(std::int64_t time, AVRational from, AVRational to) {
  return std::clamp(av_rescale_q(time, from, to), -kMost, kMost);
}

void loseTime(AVPacket& packet) { packet.pts = packet.dts = kUnknown; }

}  // namespace

ContinuousClock::ContinuousClock(const AVFormatContext& container, int pictures, std::int64_t pictureDuration)
    : container_(container),
      pictureIndex_(pictures),
      pictureUnit_(container.streams[pictures]->time_base),
      pictureDuration_(std::min(pictureDuration, kMost)),
      mayLeap_((container.iformat->flags & AVFMT_TS_DISCONT) != 0),
      reached_(kUnknown) {
  for (int i = 0; i < static_cast<int>(container.nb_streams); ++i) {
    const bool sound = container.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
    if (sound || i == pictures) tracks_[i].latest = tracks_[i].end = kUnknown;
  }
}

ContinuousClock::Track* ContinuousClock::trackOf(const AVPacket& packet) {
  const auto found = tracks_.find(packet.stream_index);
  return found != tracks_.end() ? &found->second : nullptr;
}

std::int64_t ContinuousClock::inPictureTime(const AVPacket& packet, std::int64_t time) const {
  return rescaled(time, unitOf(packet), pictureUnit_);
}

std::int64_t ContinuousClock::seconds(double value, AVRational unit) const {
  return static_cast<std::int64_t>(value / av_q2d(unit));
}

std::int64_t ContinuousClock::pictureLength(const AVPacket& packet) const {
  return packet.duration > 0 ? packet.duration : pictureDuration_;
}

void ContinuousClock::add(PacketPtr packet) {
  Track* track = trackOf(*packet);
  if (track == nullptr) {
    ready_.push_back(std::move(packet));
  } else if (packet->stream_index == pictureIndex_) {
    addPicture(*track, std::move(packet));
  } else {
    addSound(*track, std::move(packet));
  }
}

PacketPtr ContinuousClock::next() {
  if (ready_.empty()) return nullptr;
  PacketPtr packet = std::move(ready_.front());
  ready_.pop_front();
  return packet;
}

void ContinuousClock::end() {
  while (!pictures().held.empty()) {
    const bool wasAlone = isBeforeLeap(pictures(), *pictures().held.back());
    wasAlone ? passOver(pictures()) : beginPart(pictures());
  }
  for (auto& [index, track] : tracks_) {
    while (!track.held.empty()) goOnAlone(track);
  }
}

bool ContinuousClock::jumpsBack(const Track& track, const AVPacket& packet) const {
  if (track.latest == kUnknown) return false;
  const std::int64_t back = track.latest - packet.pts;
  if (packet.stream_index != pictureIndex_) return back > seconds(kSoundBack, unitOf(packet));
  const bool isKey = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  return isKey ? back > pictureDuration_ / 2 : packet.pts < track.earliest;
}

bool ContinuousClock::leapsAhead(const Track& track, const AVPacket& packet) const {
  if (!mayLeap_ || track.latest == kUnknown) return false;
  const bool inNewest = track.part + 1 == shifts_.size();
  const std::int64_t from = inNewest ? reached_ : inPictureTime(packet, track.latest);
  return inPictureTime(packet, packet.pts) - from > seconds(kLeap, pictureUnit_);
}

void ContinuousClock::addPicture(Track& track, PacketPtr packet) {
  if (!track.held.empty()) {
    const AVPacket& newest = *packet;
    track.held.push_back(std::move(packet));
    if (isTimed(newest)) judge(track, newest);
  } else if (isTimed(*packet) && (jumpsBack(track, *packet) || leapsAhead(track, *packet))) {
    track.held.push_back(std::move(packet));
  } else {
    give(track, std::move(packet));
  }
}

// Of a group across a leap ahead, pictures shown before it may be stored after some that are shown later.
bool ContinuousClock::isBeforeLeap(const Track& track, const AVPacket& packet) const {
  const std::int64_t first = track.held.front()->pts;
  return isTimed(packet) && first > track.latest && packet.pts - track.latest < first - packet.pts;
}

// Whether the pictures held go on in the old clock or in a new one, which begins with the first that is shown.
void ContinuousClock::judge(Track& track, const AVPacket& newest) {
  const AVPacket& first = *track.held.front();
  const bool isBack = first.pts < track.latest;
  const auto before = [&](const PacketPtr& packet) { return isBeforeLeap(track, *packet); };
  const auto old = static_cast<std::size_t>(std::count_if(track.held.begin(), track.held.end(), before));
  const bool follows = newest.pts > first.pts && (isBack || newest.pts - first.pts < seconds(kLeap, pictureUnit_));
  if (isBack ? newest.pts >= track.latest : old > kReordered) {
    passOver(track);
  } else if (follows || track.held.size() > kMostPictures) {
    beginPart(track);
  }
}

// The first picture held had a wrong time.
void ContinuousClock::passOver(Track& track) {
  loseTime(*track.held.front());
  addAgain(track);
}

void ContinuousClock::beginPart(Track& track) {
  std::vector<AVPacket*> before;
  std::int64_t start = kMost, end = track.end + track.untimed;
  const std::int64_t oldShift = shifts_[track.part];
  for (const PacketPtr& packet : track.held) {
    if (isBeforeLeap(track, *packet)) {
      before.push_back(packet.get());
      end = std::max(end, packet->pts + oldShift + pictureLength(*packet));
    } else if (isTimed(*packet)) {
      start = std::min<std::int64_t>(start, packet->pts);
    }
  }
  if (jumps() == 0) firstJump_ = end;
  // A clock that grows beyond all bounds is nonsense: it starts again.
  shifts_.push_back(isTime(end - start) ? end - start : 0);
  for (AVPacket* packet : before) {
    packet->pts += oldShift - shifts_.back();
    start = std::min<std::int64_t>(start, packet->pts);
  }
  track.part = shifts_.size() - 1;
  track.earliest = start;
  track.shown.clear();
  track.latest = reached_ = kUnknown;
  for (auto& [index, other] : tracks_) {
    if (index != pictureIndex_) addAgain(other);  // sound that jumped first
  }
  addAgain(track);
}

void ContinuousClock::addAgain(Track& track) {
  std::deque<PacketPtr> held;
  held.swap(track.held);
  for (PacketPtr& packet : held) add(std::move(packet));
}

void ContinuousClock::addSound(Track& track, PacketPtr packet) {
  if (track.end == kUnknown) track.part = shifts_.size() - 1;
  const bool jumps = isTimed(*packet) && (jumpsBack(track, *packet) || leapsAhead(track, *packet));
  if (track.held.empty() && jumps && track.part + 1 < shifts_.size()) {
    track.part = shifts_.size() - 1;  // where the pictures are
    track.own = 0;
    track.latest = kUnknown;
  } else if (!track.held.empty() || jumps) {
    if (track.held.empty()) track.heldSince = pictures().end;
    track.held.push_back(std::move(packet));
    if (track.held.size() > kMostSound) goOnAlone(track);
    return;
  }
  give(track, std::move(packet));
}

// The pictures did not jump with this sound.
void ContinuousClock::goOnAlone(Track& track) {
  const AVPacket& first = *track.held.front();
  const std::int64_t own = track.end - first.pts - rescaled(shifts_[track.part], pictureUnit_, unitOf(first));
  track.own = isTime(own) ? own : 0;
  track.latest = kUnknown;
  addAgain(track);
}

void ContinuousClock::give(Track& track, PacketPtr packet) {
  const bool isPicture = packet->stream_index == pictureIndex_;
  const std::int64_t length = isPicture ? pictureLength(*packet) : std::max<std::int64_t>(packet->duration, 0);
  const std::int64_t shift = rescaled(shifts_[track.part], pictureUnit_, unitOf(*packet)) + track.own;
  packet->dts = isTime(packet->dts) ? packet->dts + shift : kUnknown;
  if (!isTimed(*packet)) {
    packet->pts = kUnknown;
    track.untimed = std::min(track.untimed + std::min(length, kMost), kMost);
    ready_.push_back(std::move(packet));
    return;
  }
  const std::int64_t time = packet->pts;
  packet->pts += shift;
  if (!isPicture && shift != 0 && packet->pts + (length + 1) / 2 <= track.end) return;  // lies over what came before
  track.latest = std::max(track.latest, time);
  if (isPicture) noteShown(track, time);
  track.end = std::max(track.end, packet->pts + length);
  track.untimed = 0;
  if (track.part + 1 == shifts_.size()) reached_ = std::max(reached_, inPictureTime(*packet, time + length));
  ready_.push_back(std::move(packet));
  if (isPicture) releaseSound();
}

void ContinuousClock::noteShown(Track& track, std::int64_t time) {
  track.shown.insert(time);
  if (track.shown.size() <= kReordered) return;
  track.earliest = std::max(track.earliest, *track.shown.begin());
  track.shown.erase(track.shown.begin());
}

// Sound that jumped waits no longer for pictures that do not.
void ContinuousClock::releaseSound() {
  const std::int64_t now = pictures().end;
  for (auto& [index, track] : tracks_) {
    if (index == pictureIndex_ || track.held.empty()) continue;
    if (track.heldSince == kUnknown) track.heldSince = now;
    if (now - track.heldSince > seconds(kSoundWaits, pictureUnit_)) goOnAlone(track);
  }
}

}  // namespace kalvetra
