// What a file says about its length, before it is read.
#pragma once

#include <cstdint>

#include "media/input/input_file.h"

namespace kalvetra {

struct DeclaredLength {
  std::int64_t packets = 0;   // of the pictures, by an index that can be relied on; 0 without one
  std::int64_t expected = 0;  // pictures by whatever the file says; 0 where it says nothing
  bool isCounted = false;     // `expected` is a count, and does not follow from a duration
  std::int64_t duration = 0;  // of the streams that are read, in AV_TIME_BASE units; 0 where nothing reliable is said
};

// Of the streams that are not discarded. `video` is the pictures' stream.
DeclaredLength declaredLength(const InputFile& file, const AVStream& video, AVRational frameRate);

// From the clip's start to its end, in AV_TIME_BASE units, as far as it is declared or estimated; 0 when not known.
std::int64_t clipDuration(const AVFormatContext& container);

// True when another video stream is left out. A picture that goes with the file, like its cover, does not count.
bool leavesOutVideo(const AVFormatContext& container);

}  // namespace kalvetra
