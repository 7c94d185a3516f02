#include "media/pixels/dither.h"

#include <cstddef>

namespace kalvetra {

// From the coarsest pattern of 2 x 2 pixels to the finest: 0 2 / 3 1 each.
int ditherStep(int x, int y) {
  int step = 0;
  for (int bit = 0; bit < 3; ++bit) {
    const int column = x >> bit & 1, row = y >> bit & 1;
    step = step << 2 | (column ^ row) << 1 | row;
  }
  return step;
}

void Thresholds::prepare(int width, bool dither) {
  if (rows_[0].size() == static_cast<std::size_t>(width)) return;
  for (int y = 0; y < kDitherSide; ++y) {
    rows_[y].assign(static_cast<std::size_t>(width), 0.5f);
    for (int x = 0; dither && x < width; ++x) {
      rows_[y][static_cast<std::size_t>(x)] = (static_cast<float>(ditherStep(x, y)) + 0.5f) / 64.0f;
    }
  }
}

const float* Thresholds::row(int y) const { return rows_[y % kDitherSide].data(); }

}  // namespace kalvetra
