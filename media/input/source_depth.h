// A clip's depth, and what of its light 8 bits cannot hold.
#pragma once

#include <string>

#include "media/input/reader.h"

namespace kalvetra {

// Bits of a colour component as the file holds it, 32 in floating point; 8 where it does not say.
int colorDepth(const Reader& clip);

// Bits of a component that hold the clip's colours exactly once they are RGB, for deep pictures: those of RGB above 8
// bits, 32 in floating point, 16 for all others.
int exactDepth(const Reader& clip);

// A sentence for HDR transfers, named as FFmpeg names them: that code values are taken as they are, and in 8 bits what
// to do. Empty for all others.
std::string hdrWarning(const std::string& transfer, bool deep = false);

}  // namespace kalvetra
