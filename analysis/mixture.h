// Colours as the analysis compares and mixes them.
#pragma once

#include <array>

#include "analysis/plane.h"

namespace kalvetra {

// Red, green and blue, 0..255.
using Rgb = std::array<float, 3>;

// A picture as three planes.
using RgbPlanes = std::array<Plane, 3>;

// From host order (bytes alpha, red, green, blue), packed.
RgbPlanes planesOf(const unsigned char* argb, int width, int height);

inline Rgb colorAt(const RgbPlanes& planes, std::size_t i) { return {planes[0][i], planes[1][i], planes[2][i]}; }

Rgb operator-(const Rgb& a, const Rgb& b);
float dot(const Rgb& a, const Rgb& b);
float length(const Rgb& a);
float luma(const Rgb& c);
// Of a colour over the mean of its red and blue; what spill adds to.
float greenExcess(const Rgb& c);

// Distance of two colours' shares of red and blue in their sum (0..1): 0 for one paint under any amount of light.
float paintDistance(const Rgb& a, const Rgb& b);
inline constexpr float kSamePaint = 0.05f;

// Where a colour lies in the (I, Q) chroma plane, seen from the screen: `green` is 1 at the screen's chroma and 0 at
// grey, `across` counts units away from the line between the two.
struct Sight {
  float green, across;
};
Sight look(const Rgb& color, const Rgb& screen);

// Degrees from one colour's hue to another's, 0..180; 0 for a grey.
float hueDistance(const Rgb& a, const Rgb& b);

// A subject's colour mixed with the screen, and some of the screen's light thrown on the subject.
struct Mixture {
  float alpha;  // of the subject, 0..1
  float spill;  // thrown light, as a share of the screen's; at most half of alpha
};
inline constexpr float kMostSpill = 0.5f;

// The mixture that best explains `offset`, a pixel seen from the screen: by least squares, where little thrown light is
// likelier than much. `way` leads from the screen to the subject and is not 0.
Mixture unmix(const Rgb& offset, const Rgb& way, const Rgb& screen);

}  // namespace kalvetra
