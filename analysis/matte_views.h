// Ways to look at a keyed frame's matte.
#pragma once

#include <array>
#include <cstdint>

#include "engine/frame.h"

namespace kalvetra {

// Alpha levels that the eye takes for clear or opaque, though they are not.
inline constexpr int kAlmostClearTo = 25;      // from 1
inline constexpr int kAlmostOpaqueFrom = 230;  // to 254

// Red, green, blue of such pixels in the status view.
inline constexpr std::array<unsigned char, 3> kAlmostClearColor{255, 40, 40};    // specks in the backdrop
inline constexpr std::array<unsigned char, 3> kAlmostOpaqueColor{40, 120, 255};  // holes in the subject

// How many pixels of a matte are of which kind.
struct MatteStatus {
  std::int64_t clear = 0;  // 0
  std::int64_t almostClear = 0;
  std::int64_t partial = 0;
  std::int64_t almostOpaque = 0;
  std::int64_t opaque = 0;  // 255

  std::int64_t pixels() const { return clear + almostClear + partial + almostOpaque + opaque; }
  MatteStatus& operator+=(const MatteStatus& other);
};

// Both views are opaque. `out` has the size of `keyed` and may be the same frame. Frames of floats go with frames of
// floats: there the grey is the alpha itself, and the kind of a pixel is that of its alpha rounded to 8 bits.

// The alpha as a grey picture: what the keyer's own matte view shows, also after mattes were applied.
void showMatte(const ConstFrame& keyed, const Frame& out);

// The same with almost clear and almost opaque pixels in colour; counts all of them.
MatteStatus showStatus(const ConstFrame& keyed, const Frame& out);

}  // namespace kalvetra
