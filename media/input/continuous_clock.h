// One clock for a file whose own clock jumps, as in recordings that were joined byte by byte.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <vector>

#include "media/ffmpeg.h"

namespace kalvetra {

// Takes the packets of a file in its order and gives them back with times that go on where the file's jump: the part
// after a jump follows the pictures before it without a gap, and its sound keeps its distance to its pictures. Sound
// that would lie over that of the part before is left out. Packets are held back until it is clear what jumps.
//
// A jump back is a key picture that is shown before one that came earlier, or any picture shown before more of them
// than a codec may store before it, however long the pauses between them. A leap ahead, of more than ten seconds past
// all pictures and sound, is another clock in MPEG streams only: other files may well show a picture for that long. A
// single picture with a time apart from its neighbours is none, and loses its time. Where sound jumps alone, it goes on
// at its own end.
class ContinuousClock {
 public:
  // `pictures` is the index of the pictures' stream, `pictureDuration` a nominal one in its time base.
  ContinuousClock(const AVFormatContext& container, int pictures, std::int64_t pictureDuration);

  void add(PacketPtr packet);
  // Nothing will follow.
  void end();
  // The next packet; null while more must be added.
  PacketPtr next();

  // How often the clock jumped, as far as packets were added, and when first, in the pictures' time base.
  int jumps() const { return static_cast<int>(shifts_.size()) - 1; }
  std::int64_t firstJump() const { return firstJump_; }

 private:
  struct Track {
    std::size_t part = 0;                    // of shifts_
    std::int64_t own = 0;                    // what its times are shifted by besides
    std::int64_t latest;                     // time in the file's clock, the greatest since the latest jump
    std::int64_t earliest = AV_NOPTS_VALUE;  // at which a picture may still be shown that is no key
    std::multiset<std::int64_t> shown;       // the latest times of pictures, as many as may be stored too early
    std::int64_t end;                        // of all that was given back, in the continuous clock
    std::int64_t untimed = 0;                // duration of what came after that without a time
    std::deque<PacketPtr> held;
    std::int64_t heldSince = 0;  // end of the pictures when the sound began to be held back
  };

  Track* trackOf(const AVPacket& packet);
  Track& pictures() { return tracks_.at(pictureIndex_); }
  AVRational unitOf(const AVPacket& packet) const { return container_.streams[packet.stream_index]->time_base; }
  std::int64_t inPictureTime(const AVPacket& packet, std::int64_t time) const;
  std::int64_t pictureLength(const AVPacket& packet) const;
  std::int64_t seconds(double value, AVRational unit) const;
  bool jumpsBack(const Track& track, const AVPacket& packet) const;
  bool leapsAhead(const Track& track, const AVPacket& packet) const;
  void addPicture(Track& track, PacketPtr packet);
  void addSound(Track& track, PacketPtr packet);
  bool isBeforeLeap(const Track& track, const AVPacket& packet) const;
  void judge(Track& track, const AVPacket& newest);
  void passOver(Track& track);
  void beginPart(Track& track);
  void addAgain(Track& track);
  void goOnAlone(Track& track);
  void releaseSound();
  void give(Track& track, PacketPtr packet);
  static void noteShown(Track& track, std::int64_t time);

  const AVFormatContext& container_;
  int pictureIndex_;
  AVRational pictureUnit_;
  std::int64_t pictureDuration_;
  bool mayLeap_;
  std::map<int, Track> tracks_;          // by stream, pictures and sound
  std::vector<std::int64_t> shifts_{0};  // of each part, in the pictures' time base
  std::int64_t reached_;                 // by any track of the newest part, in its clock and the pictures' time base
  std::int64_t firstJump_ = 0;
  std::deque<PacketPtr> ready_;
};

}  // namespace kalvetra
