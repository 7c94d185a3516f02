// What the compositing routines share.
#pragma once

#include <stdexcept>

#include "media/picture.h"

namespace kalvetra {

// value * share / 255, rounded; both 0..255.
inline unsigned char partOf(int value, int share) { return static_cast<unsigned char>((value * share + 127) / 255); }

inline void requireAlike(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height) throw std::invalid_argument("pictures of different sizes");
  if (a.format != b.format) throw std::invalid_argument("pictures of different depths");
}

}  // namespace kalvetra
