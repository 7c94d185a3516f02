// The chroma that the key colour has at each luminance, as a camera's exposure shifts it.
#pragma once

#include <array>

#include "engine/chroma_plane.h"

namespace kalvetra::deep {

// Of a colour in levels, within 0..255 or not. By differences, so that greys have no chroma at all: of what is left of
// sums, signs would decide whether a grey is the backdrop's.
inline YIQ colorOf(float red, float green, float blue) {
  const float r = red - green, b = blue - green;
  return {red * 0.299f + green * 0.587f + blue * 0.114f, r * 0.596f - b * 0.321f, r * 0.212f + b * 0.311f};
}

// Continuous: straight lines between luminances that lie closer together than a level. Darker than 80 the chroma is
// that of 80, brighter than the key colour its own; a key colour darker than 80 has its own everywhere. On the mean it
// is that of the 8-bit table, whose entries are truncated and hold the last that falls into them. The two entries that
// many luminances share are the table's: what they lose is the same for all of those, and not made up for by others.
class ExpectedChroma {
 public:
  ExpectedChroma(unsigned char red, unsigned char green, unsigned char blue);

  Chroma at(float y) const {
    const float place = (y + kTableLead - kDarkest) * perLevel_;
    const float within = place > 0.0f ? (place < kIntervals ? place : kIntervals) : 0.0f;
    const auto node = static_cast<std::size_t>(within);
    return mix(nodes_[node], nodes_[node + 1], within - static_cast<float>(node));
  }

 private:
  static constexpr float kTableLead = 0.45f;  // levels between a pixel and what its entry is made of
  static constexpr float kDarkest = 81.45f;   // what entry 80 is made of
  static constexpr int kIntervals = 256;

  float perLevel_ = 0.0f;                     // intervals
  std::array<Chroma, kIntervals + 2> nodes_;  // from the darkest luminance to the key colour's, which is there twice
};

}  // namespace kalvetra::deep
