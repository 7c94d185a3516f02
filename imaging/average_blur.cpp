// Box averages of a four-channel image and of a one-byte plane.
#include <cstring>
#include <memory>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/passes.h"
#include "imaging/sliding_box.h"

using kalvetra::truncToByte;

namespace {

// One multiplication by each of these replaces the division by the window's area.
std::vector<float> windowWeights(int size, int radius) {
  std::vector<float> weights;
  for (const int count : kalvetra::windowCounts(size, radius)) weights.push_back(1.0f / static_cast<float>(count));
  return weights;
}

}  // namespace

int CImagingZEP::AverageBlurCore32bit6(unsigned char* image, int width, int height, int stride, int radius) {
  if (image == nullptr || radius < 0) return 0;
  if (width < 1 || height < 1) return 1;
  if (kalvetra::simd::enabled() && kalvetra::simd::averageBlur({image, width, height, stride}, radius)) return 1;
  radius = kalvetra::effectiveRadius(width, height, radius);
  const std::vector<float> columnWeights = windowWeights(width, radius);
  const std::vector<float> rowWeights = windowWeights(height, radius);
  const std::size_t bytes = kalvetra::byteCount(stride, height);
  const auto output = std::make_unique<unsigned char[]>(bytes);

  kalvetra::slideBox<4>({image, width, height, stride, 4}, radius, [&](int x, int y, const auto& sums) {
    unsigned char* out = output.get() + std::ptrdiff_t{y} * stride + std::ptrdiff_t{x} * 4;
    const float columnWeight = columnWeights[static_cast<std::size_t>(x)];
    const float rowWeight = rowWeights[static_cast<std::size_t>(y)];
    for (std::size_t c = 0; c < 4; ++c) {
      out[c] = truncToByte(static_cast<float>(sums[c]) * columnWeight * rowWeight + 0.5f);
    }
  });
  std::memcpy(image, output.get(), bytes);
  return 1;
}

int CImagingZEP::AverageBlurA(int width, int height, unsigned char* plane, float radius, float gain) {
  const int wholeRadius = kalvetra::truncToInt(radius);
  if (plane == nullptr || wholeRadius < 0) return 0;
  if (width < 1 || height < 1) return 1;
  const std::size_t bytes = kalvetra::byteCount(width, height);
  const auto output = std::make_unique<unsigned char[]>(bytes);
  if (kalvetra::simd::enabled() && kalvetra::simd::averageBlur(plane, output.get(), width, height, wholeRadius, gain)) {
    std::memcpy(plane, output.get(), bytes);
    return 1;
  }
  const int r = kalvetra::effectiveRadius(width, height, wholeRadius);
  const std::vector<float> columnWeights = windowWeights(width, r);
  const std::vector<float> rowWeights = windowWeights(height, r);

  unsigned char* out = output.get();
  kalvetra::slideBox<1>({plane, width, height, width, 1}, r, [&](int x, int y, const auto& sums) {
    *out++ = truncToByte(static_cast<float>(sums[0]) * columnWeights[static_cast<std::size_t>(x)] *
                         rowWeights[static_cast<std::size_t>(y)] * gain);
  });
  std::memcpy(plane, output.get(), bytes);
  return 1;
}
