// Keyed pictures over a background.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// Lays `keyed` (straight alpha) over the background, whose alpha is not read: colour * a + background * (1 - a),
// in code values as editors do it; rounded, but of deep pictures. The result is opaque. Pictures of different sizes or
// formats throw std::invalid_argument; `out` may be either of them.
void layOver(const Image& keyed, const Image& background, Image& out);

}  // namespace kalvetra
