// Which source pixels each pixel of a resampled row or column draws on, and by how much.
#pragma once

#include <cstddef>
#include <vector>

namespace kalvetra {

// The source indices that one output index draws on, and where their taps start. Indices are 1-based: source index k
// covers the interval [k - 1, k]. Empty where first is 1 and last 0.
struct Window {
  int first;
  int last;
  std::size_t taps;
};

// What each source pixel counts in each output pixel.
struct Weights {
  std::vector<Window> windows;  // one an output index
  std::vector<float> weights;   // those of a window add up to 1
};

// For a row (or column) of sourceSize pixels that becomes one of outputSize, both at least 1. `filter` and `lobes` as
// in CImagingZEP::DF_WH32bit5_1.
Weights makeWeights(int sourceSize, int outputSize, int filter, int lobes);

struct Taps {
  std::vector<Window> windows;  // one an output index
  std::vector<int> taps;        // 16.16; the sums of a window may differ from 1 by what truncation took
};

// The same in whole numbers.
Taps makeTaps(int sourceSize, int outputSize, int filter, int lobes);

}  // namespace kalvetra
