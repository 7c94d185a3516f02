// One value a pixel, and the few neighbourhood routines that the analysis needs.
#pragma once

#include <cstddef>
#include <vector>

namespace kalvetra {

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
  float& operator[](std::size_t i) { return values[i]; }
  float operator[](std::size_t i) const { return values[i]; }
};

// Mean over a square of 2 * radius + 1 pixels; at the borders, over what of it lies inside the picture.
Plane boxMean(const Plane& plane, int radius);

// City-block distance in pixels to the nearest pixel that is not 0; kNoDistance where there is none.
inline constexpr float kNoDistance = 1e6f;
Plane distanceToSet(const Plane& set);

}  // namespace kalvetra
