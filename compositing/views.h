// Ways to look at a keyed picture's matte.
#pragma once

#include <array>
#include <cstdint>

#include "media/picture.h"

namespace kalvetra {

// The alpha as an opaque grey picture: what the keyer's own matte view shows, also after mattes were applied.
void matteOf(const Image& keyed, Image& out);

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

// The matte as an opaque grey picture in which almost clear and almost opaque pixels stand out in colour; counts them.
MatteStatus showStatus(const Image& keyed, Image& out);

}  // namespace kalvetra
