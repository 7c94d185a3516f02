// What damage does to pictures that a decoder delivers without reporting an error.
#pragma once

#include <cstdint>
#include <deque>

#include "media/ffmpeg.h"

namespace kalvetra {

// Counts pictures that hold errors. A decoder reports the one whose data is damaged; all that refer to it hold the
// same errors: those up to the next key picture, and those shown before it but stored after it.
class SpoiltPictures {
 public:
  void add(const AVFrame& picture);
  // A picture is missing: what follows refers to something else.
  void miss() { spoilt_ = true; }
  std::int64_t count() const { return count_; }

 private:
  std::int64_t count_ = 0;
  bool spoilt_ = false;
  std::deque<std::int64_t> places_;  // in the file, of the latest pictures that seemed whole
};

// Counts pictures in stretches of a Matroska file that its demuxer has skipped, as it does without an error when the
// structure is damaged. Times alone prove nothing, as clips may have any; bytes alone neither.
class SkippedStretches {
 public:
  // Packets in the file's order; `duration` is the nominal one of a picture, in the stream's time base. Returns how
  // many pictures were jumped over since the key picture before this packet.
  std::int64_t add(const AVPacket& packet, bool isPicture, std::int64_t duration);

 private:
  std::int64_t end_ = -1;  // of the packet before, in bytes of the file
  bool jumped_ = false;
  std::int64_t keyTime_ = AV_NOPTS_VALUE;
  std::int64_t sinceKey_ = 0;
};

}  // namespace kalvetra
