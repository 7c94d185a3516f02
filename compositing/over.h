// Keyed pictures over a background.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// Lays `keyed` (straight alpha) over the background, whose alpha is not read: colour * a + background * (1 - a),
// rounded, in code values as editors do it. The result is opaque. Pictures of different sizes throw
// std::invalid_argument; `out` may be either of them.
void layOver(const Image& keyed, const Image& background, Image& out);

}  // namespace kalvetra
