#include "imaging/resample_taps.h"

#include <algorithm>

#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"

namespace kalvetra {

namespace {

// Distance of source index k from output index j: in source pixels when enlarging, in output pixels when reducing.
double distance(int k, int j, double s, double d) {
  if (s < d) return k - j * (s / d) + (s / (2.0 * d) - 0.5);
  return k * (d / s) - j + (0.5 - d / (2.0 * s));
}

// Appends the taps of one window, normalised to a sum of 1 before they are truncated to 16.16.
void appendTaps(const Window& window, int j, double s, double d, int filter, int lobes, std::vector<int>& taps) {
  CImagingZEP imaging;
  std::vector<float> weights;
  float sum = 0.0f;
  for (int k = window.first; k <= window.last; ++k) {
    weights.push_back(imaging.DF_weight(distance(k, j, s, d), lobes, filter));
    sum += weights.back();
  }
  for (const float weight : weights) taps.push_back(truncToInt(weight / sum * 65536.0f));
}

}  // namespace

Taps makeTaps(int sourceSize, int outputSize, int filter, int lobes) {
  const double s = sourceSize, d = outputSize;
  const float lobeCount = static_cast<float>(lobes);
  const float support =
      sourceSize < outputSize ? lobeCount : static_cast<float>(sourceSize) / static_cast<float>(outputSize) * lobeCount;
  Taps table;
  for (int j = 1; j <= outputSize; ++j) {
    const double center = (2.0 * j - 1.0) * s / (2.0 * d);
    const int first = truncToInt(center - static_cast<double>(support) + 0.5 + 1.0);
    const int last = truncToInt(center + static_cast<double>(support) + 0.5);
    table.windows.push_back({std::max(first, 1), std::min(last, sourceSize), table.taps.size()});
    appendTaps(table.windows.back(), j, s, d, filter, lobes, table.taps);
  }
  return table;
}

}  // namespace kalvetra
