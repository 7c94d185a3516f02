// One value a pixel, and the neighbourhood routines that plates are made with. All are plain sums in a fixed order:
// the same bytes on every machine and on any number of threads.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "engine/workers.h"

namespace kalvetra::plates {

struct Plane {
  int width = 0;
  int height = 0;
  std::vector<float> values;  // row by row

  Plane() = default;
  Plane(int w, int h, float value = 0.0f)
      : width(w), height(h), values(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), value) {}
  std::size_t index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  }
  float* row(int y) { return values.data() + index(0, y); }
  const float* row(int y) const { return values.data() + index(0, y); }
  float& operator[](std::size_t i) { return values[i]; }
  float operator[](std::size_t i) const { return values[i]; }
};

// Red, green and blue.
using Planes = std::array<Plane, 3>;

// 0 up to `from`, 1 from `to` on (or the other way where from > to), smooth between.
inline float smoothStep(float from, float to, float x) {
  const float t = (x - from) / (to - from);
  if (!(t > 0.0f)) return 0.0f;
  return t >= 1.0f ? 1.0f : t * t * (3.0f - 2.0f * t);
}

// Mean over a square of 2 * radius + 1 pixels; at the borders, over what of it lies inside the picture.
Plane boxMean(const Plane& plane, int radius, const Workers* workers = nullptr);

// Half the size, rounded up, under a small bell: a coarse pixel covers the fine ones 2x and 2x + 1.
Plane halved(const Plane& plane, const Workers* workers = nullptr);

// Enlarged to the given size, linear between the centres of pixels.
Plane enlarged(const Plane& plane, int width, int height, const Workers* workers = nullptr);

// The values where `weight` (0..1) is large, from a quarter on alone; where it is less, those of the surroundings as
// well, each by its weight, from as far as it takes.
// Zero everywhere where no weight is.
Planes filled(const Planes& values, const Plane& weight, const Workers* workers = nullptr);

// The lowest surface above `heights` that falls by no more than `slope` (of each pixel, a pixel's length) from pixel to
// pixel: a soft upper envelope, that moves by no more than the heights do.
Plane envelope(const Plane& heights, const Plane& slope);

}  // namespace kalvetra::plates
