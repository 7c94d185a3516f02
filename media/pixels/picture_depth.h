// Pictures of one depth as pictures of the other.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// A deep picture of one of 8 bits: its levels over 255.
Image widened(const Image& bytes);

// A picture of 8 bits of a deep one: rounded, or its colours spread over the fixed pattern of the dither, which leaves
// whole levels alone; kept to 0..255.
Image narrowed(const Image& deep, bool dither);

}  // namespace kalvetra
