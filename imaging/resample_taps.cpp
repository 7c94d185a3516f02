#include "imaging/resample_taps.h"

#include <algorithm>
#include <utility>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/resample_kernels.h"

namespace kalvetra {

namespace {

// Distance of source index k from output index j: in source pixels when enlarging, in output pixels when reducing.
double distance(int k, int j, double s, double d) {
  if (s < d) return k - j * (s / d) + (s / (2.0 * d) - 0.5);
  return k * (d / s) - j + (0.5 - d / (2.0 * s));
}

std::vector<float> weightsAt(const std::vector<double>& distances, int filter, int lobes) {
  std::vector<float> weights(distances.size());
  if (simd::enabled()) {
    simd::kernelWeights(distances.data(), weights.data(), weights.size(), filter, lobes);
  } else {
    CImagingZEP imaging;
    for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = imaging.DF_weight(distances[i], lobes, filter);
  }
  return weights;
}

// To a sum of 1.
void normalise(float* weights, std::size_t count) {
  float sum = 0.0f;
  for (std::size_t i = 0; i < count; ++i) sum += weights[i];
  for (std::size_t i = 0; i < count; ++i) weights[i] = weights[i] / sum;
}

}  // namespace

Weights makeWeights(int sourceSize, int outputSize, int filter, int lobes) {
  const double s = sourceSize, d = outputSize;
  const float lobeCount = static_cast<float>(lobes);
  const float support =
      sourceSize < outputSize ? lobeCount : static_cast<float>(sourceSize) / static_cast<float>(outputSize) * lobeCount;
  Weights table;
  std::vector<double> distances;
  for (int j = 1; j <= outputSize; ++j) {
    const double center = (2.0 * j - 1.0) * s / (2.0 * d);
    const int first = std::max(truncToInt(center - static_cast<double>(support) + 0.5 + 1.0), 1);
    const int last = std::min(truncToInt(center + static_cast<double>(support) + 0.5), sourceSize);
    if (first > last) {
      table.windows.push_back({1, 0, distances.size()});
      continue;
    }
    table.windows.push_back({first, last, distances.size()});
    for (int k = first; k <= last; ++k) distances.push_back(distance(k, j, s, d));
  }
  table.weights = weightsAt(distances, filter, lobes);
  for (const Window& window : table.windows) {
    if (window.first > window.last) continue;
    normalise(table.weights.data() + window.taps, static_cast<std::size_t>(window.last - window.first + 1));
  }
  return table;
}

Taps makeTaps(int sourceSize, int outputSize, int filter, int lobes) {
  Weights table = makeWeights(sourceSize, outputSize, filter, lobes);
  std::vector<int> taps(table.weights.size());
  std::transform(table.weights.begin(), table.weights.end(), taps.begin(),
                 [](float weight) { return truncToInt(weight * 65536.0f); });
  return {std::move(table.windows), std::move(taps)};
}

}  // namespace kalvetra
