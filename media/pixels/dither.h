// The fixed pattern that takes the place of rounding.
#pragma once

#include <vector>

namespace kalvetra {

inline constexpr int kDitherSide = 8;  // pixels

// The Bayer pattern: each of 0..63 once in a square of 8 x 8 pixels, neighbours far apart.
int ditherStep(int x, int y);

// For each of `width` pixels of row y what is added, in levels, before a value is cut off: 0.5 rounds; with dither
// (step + 0.5) / 64, whose mean over the pattern is 0.5 too.
class Thresholds {
 public:
  void prepare(int width, bool dither);
  const float* row(int y) const;

 private:
  std::vector<float> rows_[kDitherSide];
};

}  // namespace kalvetra
