// The frame as the fit looks at it: smaller, as planes, and parted into paint and light.
#pragma once

#include <algorithm>

#include "engine/frame.h"
#include "engine/workers.h"
#include "plates/plane.h"

namespace kalvetra::plates {

struct Picture {
  Planes color;  // levels, each pixel the mean of those of the frame that it covers
  Plane seen;    // 1 where the frame is opaque, 0 where it is transparent
  float unit;    // pixels of this picture to one of a frame of 1920 x 1080 pixels: the measure of all lengths
};

// A length in 1080ths of a full frame's height as pixels of the picture, at least 1.
inline int pixelsOf(float length, float unit) { return std::max(1, static_cast<int>(length * unit + 0.5f)); }

// At most `longest` pixels a side; the frame has at least one pixel.
Picture reducedPicture(const ConstFrame& frame, int longest, const Workers* workers);

// A colour of the picture as paint, the shares that red and blue have in the sum of the channels, and light, log2 of
// the sum over that of the key colour. A paint keeps its shares in any light.
struct PaintAndLight {
  Plane red, blue;  // shares, 0..1
  Plane light;      // octaves
};

inline constexpr float kLeastSum = 8.0f;  // levels: below it light and shares count as those of this sum

PaintAndLight partedPicture(const Planes& soft, float keySum, const Workers* workers);

// log2 of a normal number above 0, by a series that is right to 1e-6: the library's differs between machines.
float binaryLog(float x);

// Standard deviation of a channel of the frame, in levels, where `bare` (0..1) is 1: from differences between pixels
// two apart, which the light moves little. 0 where nothing is bare.
float noiseOf(const ConstFrame& frame, const Plane& bare);

}  // namespace kalvetra::plates
