// Matte contraction: a grey-level erosion with a tolerance.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"

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

template <class Minimum>
int contractOnce(int width, int height, unsigned char* image, int slack, Minimum minimum) {
  if (image == nullptr) return 0;
  if (width < 3 || height < 3) return 1;
  const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
  const std::size_t bytes = kalvetra::byteCount(width, height) * 4;
  const auto output = std::make_unique<unsigned char[]>(bytes);
  std::memcpy(output.get(), image, bytes);
  for (int y = 1; y < height - 1; ++y) {
    for (int x = 1; x < width - 1; ++x) {
      const std::ptrdiff_t at = y * stride + std::ptrdiff_t{4} * x + 3;
      // 64 bits: a slack at the far end of int must not overflow.
      const std::int64_t floor = std::int64_t{minimum(image + at, stride)} + slack;
      if (image[at] > floor) output[static_cast<std::size_t>(at)] = static_cast<unsigned char>(floor);
    }
  }
  std::memcpy(image, output.get(), bytes);
  return 1;
}

}  // namespace

int CImagingZEP::ContGrayCore4(int width, int height, unsigned char* image, int slack) {
  return contractOnce(width, height, image, slack, crossMinimum);
}

int CImagingZEP::ContGrayCore8(int width, int height, unsigned char* image, int slack) {
  return contractOnce(width, height, image, slack, squareMinimum);
}

int CImagingZEP::ContGray7(int width, int height, unsigned char* image, int steps, int slack) {
  if (image == nullptr) return 0;
  for (int i = 0; i < steps; ++i) {
    if (i % 2 == 0) {
      ContGrayCore4(width, height, image, slack);
    } else {
      ContGrayCore8(width, height, image, slack);
    }
  }
  return 1;
}
