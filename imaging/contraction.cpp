// Matte contraction: a grey-level erosion with a tolerance.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"
#include "imaging/simd/passes.h"

namespace {

// Smallest matte of the four direct neighbours, without the centre.
int crossMinimum(const unsigned char* matte, std::ptrdiff_t stride) {
  return std::min(std::min(matte[-4], matte[4]), std::min(matte[-stride], matte[stride]));
}

// Smallest matte of the 3 x 3 block, with the centre.
int squareMinimum(const unsigned char* matte, std::ptrdiff_t stride) {
  int smallest = 255;
  for (std::ptrdiff_t dy = -stride; dy <= stride; dy += stride) {
    for (std::ptrdiff_t dx = -4; dx <= 4; dx += 4) smallest = std::min<int>(smallest, matte[dy + dx]);
  }
  return smallest;
}

bool contractWithVectors(int width, int height, unsigned char* image, int steps, int slack, bool squareFirst) {
  return kalvetra::simd::enabled() && kalvetra::simd::contractMatte(image, width, height, steps, slack, squareFirst);
}

// True when that changed a pixel.
template <class Minimum>
bool contractOnce(int width, int height, unsigned char* image, int slack, Minimum minimum) {
  if (width < 3 || height < 3) return false;
  bool changed = false;
  const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
  const std::size_t bytes = kalvetra::byteCount(width, height) * 4;
  const auto output = std::make_unique<unsigned char[]>(bytes);
  std::memcpy(output.get(), image, bytes);
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      const std::ptrdiff_t at = y * stride + std::ptrdiff_t{4} * x + 3;
      // 64 bits: a slack at the far end of int must not overflow.
      const std::int64_t floor = std::int64_t{minimum(image + at, stride)} + slack;
      if (image[at] <= floor) continue;
      output[static_cast<std::size_t>(at)] = static_cast<unsigned char>(floor);
      changed = true;
    }
  }
  std::memcpy(image, output.get(), bytes);
  return changed;
}

}  // namespace

int CImagingZEP::ContGrayCore4(int width, int height, unsigned char* image, int slack) {
  if (image == nullptr) return 0;
  if (contractWithVectors(width, height, image, 1, slack, false)) return 1;
  contractOnce(width, height, image, slack, crossMinimum);
  return 1;
}

int CImagingZEP::ContGrayCore8(int width, int height, unsigned char* image, int slack) {
  if (image == nullptr) return 0;
  if (contractWithVectors(width, height, image, 1, slack, true)) return 1;
  contractOnce(width, height, image, slack, squareMinimum);
  return 1;
}

int CImagingZEP::ContGray7(int width, int height, unsigned char* image, int steps, int slack) {
  if (image == nullptr) return 0;
  if (steps > 0 && contractWithVectors(width, height, image, steps, slack, false)) return 1;
  // Once neither kind of step changes anything, no further one will: step counts may be absurdly large.
  int idleSteps = 0;
  for (int i = 0; i < steps && idleSteps < 2; ++i) {
    const bool changed = i % 2 == 0 ? contractOnce(width, height, image, slack, crossMinimum)
                                    : contractOnce(width, height, image, slack, squareMinimum);
    idleSteps = changed ? 0 : idleSteps + 1;
  }
  return 1;
}
