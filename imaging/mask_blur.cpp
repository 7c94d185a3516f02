// Matte-edge blur: erodes the matte near transparent areas by a blurred, reshaped copy of its inverse.
#include <memory>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/passes.h"

using kalvetra::truncToByte;

namespace {

// Quadratic curve with gain 4: small leakage goes toward 0, from about 128 on it saturates.
unsigned char reshape(unsigned char p) {
  if (p == 0 || p == 255) return p;
  const float v = p;
  return truncToByte(v * v / 255.0f * 4.0f);
}

unsigned char erode(unsigned char matte, unsigned char edge, float amount, float offset) {
  const float a = matte;
  const float p = edge;
  const float t = a - a / 255.0f * (p * amount / -255.0f + 1.0f) * 255.0f - offset;
  const float d = t > 0.0f ? t : 0.0f;
  return truncToByte(a - d + 0.499f);
}

}  // namespace

int CImagingZEP::MaskBlur(int width, int height, unsigned char* image, int radius, int amount, int offset) {
  if (image == nullptr || radius < 0) return 0;
  const std::size_t pixels = kalvetra::byteCount(width, height);
  const float k = static_cast<float>(amount) / 100.0f;
  if (kalvetra::simd::enabled() && pixels != 0 && kalvetra::simd::maskBlur(image, width, height, radius, k, offset)) {
    return 1;
  }
  const auto edge = std::make_unique<unsigned char[]>(pixels);
  for (std::size_t i = 0; i < pixels; ++i) edge[i] = static_cast<unsigned char>(255 - image[i * 4 + 3]);
  AverageBlurA(width, height, edge.get(), static_cast<float>(radius), 1.0f);

  for (std::size_t i = 0; i < pixels; ++i) {
    unsigned char& matte = image[i * 4 + 3];
    matte = erode(matte, reshape(edge[i]), k, static_cast<float>(offset));
  }
  return 1;
}
