// How many of a file's pictures did not come out of it, and how many came out spoilt.
#pragma once

#include <cstdint>

#include "media/input/damage.h"
#include "media/input/declared_length.h"

namespace kalvetra {

// Takes note of all that is read of one file, in the file's order.
class LossTally {
 public:
  // `pictureDuration` is the nominal one, in the pictures' time base. With `mayJump` the demuxer may skip
  // stretches without an error.
  LossTally(const DeclaredLength& declared, std::int64_t pictureDuration, bool mayJump)
      : declared_(declared), pictureDuration_(pictureDuration), mayJump_(mayJump) {}

  // A packet of the pictures' stream or of another; `end` is where it ends, in AV_TIME_BASE units from the clip's
  // start.
  void addPacket(const AVPacket& packet, bool isPicture, std::int64_t end);
  // A picture that could not even be read.
  void addUnreadable();
  // A packet that the decoder refused.
  void addUndecodable();
  void addPicture(const AVFrame& picture);
  // The file ended with an error.
  void endEarly() { cutShort_ = true; }

  // Pictures that did not come out; `atEnd` once everything was read, when also those count that the file declares and
  // does not hold.
  std::int64_t lost(bool atEnd) const;
  // Pictures that came out with errors.
  std::int64_t spoilt() const { return spoilt_.count(); }

 private:
  std::int64_t missing() const;

  DeclaredLength declared_;
  std::int64_t pictureDuration_;
  bool mayJump_;
  std::int64_t packets_ = 0, delivered_ = 0, undecodable_ = 0;
  std::int64_t skipped_ = 0;    // pictures in stretches that the demuxer jumped over
  std::int64_t discarded_ = 0;  // packets that an edit list cuts off
  std::int64_t reached_ = 0;    // end of the last packet, in AV_TIME_BASE units
  bool cutShort_ = false;
  SpoiltPictures spoilt_;
  SkippedStretches stretches_;
};

}  // namespace kalvetra
