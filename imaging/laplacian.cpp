// Edge map from the 3 x 3 Laplacian.
#include <algorithm>
#include <cstddef>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/simd/passes.h"

namespace {

// The two borders differ: before the first row (column) the second is read, after the last one the last again. On a
// size of 1 both rules apply in turn, so that nothing outside is read.
int mirrored(int c, int size) {
  if (c < 0) c = -c;
  return c >= size ? 2 * size - c - 1 : c;
}

// Positive responses of the three colour channels, averaged: 0..2040.
int edgeStrength(const unsigned char* const rows[3], const int columns[3]) {
  int total = 0;
  for (int c = 0; c < 3; ++c) {
    int sum = 0;
    for (int dy = 0; dy < 3; ++dy) {
      for (int dx = 0; dx < 3; ++dx) sum += (dy == 1 && dx == 1 ? 8 : -1) * rows[dy][columns[dx] * 4 + c];
    }
    total += std::max(sum, 0);
  }
  return total / 3;
}

}  // namespace

int CImagingZEP::Laplacian32bit8(unsigned char* src, int width, int height, int srcStride, unsigned char* dst,
                                 int /*dstWidth*/, int /*dstHeight*/, int dstStride, int threshold) {
  if (src == nullptr || dst == nullptr) return 0;
  if (kalvetra::simd::enabled() &&
      kalvetra::simd::findEdges({src, width, height, srcStride}, dst, dstStride, threshold)) {
    return 1;
  }
  for (int y = 0; y < height; ++y) {
    const unsigned char* rows[3];
    for (int dy = 0; dy < 3; ++dy) rows[dy] = src + std::ptrdiff_t{mirrored(y + dy - 1, height)} * srcStride;
    unsigned char* out = dst + std::ptrdiff_t{y} * dstStride;
    for (int x = 0; x < width; ++x) {
      const int columns[3] = {mirrored(x - 1, width), x, mirrored(x + 1, width)};
      const int mean = edgeStrength(rows, columns);
      out[x] = static_cast<unsigned char>(mean < threshold ? 0 : mean / 8);
    }
  }
  return 1;
}
