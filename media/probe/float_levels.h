// Pictures in floating point that hold levels of 0..255 where others hold light.
#pragma once

#include "media/ffmpeg.h"

namespace kalvetra {

// True where the colours look like levels: above 1, and either all whole numbers of at most 255, or with a median above
// 8, where light would be eight times as bright as white. False for pictures of whole numbers and for black ones.
bool holdsLevels(const AVFrame& picture);

}  // namespace kalvetra
