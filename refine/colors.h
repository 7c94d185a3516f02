// Sums over the three channels of colours in levels, in working colours.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "plates/plane.h"

namespace kalvetra::refine {

using Color = std::array<float, 3>;  // red, green, blue

inline Color colorAt(const plates::Planes& planes, std::size_t i) { return {planes[0][i], planes[1][i], planes[2][i]}; }
inline float dot(const Color& a, const Color& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline float luma(const Color& c) { return 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2]; }
inline Color without(const Color& c, float amount, const Color& screen) {
  return {c[0] - amount * screen[0], c[1] - amount * screen[1], c[2] - amount * screen[2]};
}

// By how much green stands above both red and blue: what the screen alone has of all that is lit.
inline float greenExcess(const Color& c) { return c[1] - std::max(c[0], c[2]); }
// By how much green lies below both.
inline float violetExcess(const Color& c) { return std::min(c[0], c[2]) - c[1]; }

// The two axes of chroma, as in NTSC's I and Q.
inline std::array<float, 2> chroma(const Color& c) {
  return {0.596f * c[0] - 0.275f * c[1] - 0.321f * c[2], 0.212f * c[0] - 0.523f * c[1] + 0.311f * c[2]};
}

// How much of the screen's chroma lies in a colour's: 1 for the screen itself, 0 for grey.
inline float chromaShare(const Color& c, const Color& screen) {
  const auto a = chroma(c), s = chroma(screen);
  return (a[0] * s[0] + a[1] * s[1]) / std::max(s[0] * s[0] + s[1] * s[1], 1.0f);
}

// The key's alpha of what the source shows, 0..1, both given in levels: where the source itself lets something through,
// that is no part of the screen.
inline float coverage(float keyed, float source) {
  if (!(keyed > 0.0f)) return 0.0f;
  return keyed < source ? keyed / source : 1.0f;
}

}  // namespace kalvetra::refine
