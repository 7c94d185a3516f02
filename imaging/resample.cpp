// Separable windowed-sinc resampler with 16.16 fixed-point taps.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

#include "cpu/vectors.h"
#include "imaging/CImagingZEP.h"
#include "imaging/maths.h"
#include "imaging/numeric.h"
#include "imaging/resample_taps.h"
#include "imaging/simd/passes.h"

using kalvetra::makeTaps;
using kalvetra::Taps;
using kalvetra::Window;

namespace {

// Three channel sums in 32-bit arithmetic. Unsigned, so that taps of a degenerate kernel wrap instead of overflowing.
struct Sums {
  std::uint32_t channel[3] = {0, 0, 0};

  template <class Value>
  void add(int tap, const Value* values) {
    for (int c = 0; c < 3; ++c) channel[c] += static_cast<std::uint32_t>(tap) * static_cast<std::uint32_t>(values[c]);
  }
  // Whole part of channel c, rounded down after adding `bias` (16.16).
  int shifted(int c, std::uint32_t bias) const { return static_cast<std::int32_t>(channel[c] + bias) >> 16; }
};

// One source row into `out`, three integers an output column: rounded down, and not clamped, since negative lobes may
// still be balanced by the vertical step.
void resampleRow(const unsigned char* row, const Taps& horizontal, int* out) {
  for (const Window& window : horizontal.windows) {
    Sums sums;
    const int* tap = horizontal.taps.data() + window.taps;
    for (int k = window.first; k <= window.last; ++k) sums.add(*tap++, row + std::ptrdiff_t{4} * (k - 1));
    for (int c = 0; c < 3; ++c) *out++ = sums.shifted(c, 0);
  }
}

// One output row from the intermediate rows of its window: rounded to nearest and clamped.
void resampleColumns(const std::vector<int>& intermediate, const Window& window, const int* taps, int width,
                     unsigned char* out) {
  for (int x = 0; x < width; ++x, out += 4) {
    Sums sums;
    const int* tap = taps;
    for (int k = window.first; k <= window.last; ++k) {
      const std::size_t at =
          static_cast<std::size_t>(k - 1) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
      sums.add(*tap++, intermediate.data() + at * 3);
    }
    for (int c = 0; c < 3; ++c) out[c] = kalvetra::clampToByte(sums.shifted(c, 32768));
  }
}

}  // namespace

float CImagingZEP::DF_weight(double x, int lobes, int filter) {
  if (std::abs(x) < std::numeric_limits<double>::epsilon()) return 1.0f;
  if (std::abs(x) >= lobes) return 0.0f;
  const double t = x * std::numbers::pi;
  const double window = kalvetra::maths::sin(t / lobes) / (t / lobes);
  const double cutOff = filter == 1 ? 2.670353755551324 * x : t;  // 0.85 * pi * x
  return static_cast<float>(kalvetra::maths::sin(cutOff) / cutOff * window);
}

// Rows are walked one after the other, which the caches like better than the columns of the result; since the two steps
// are integer sums, the order of walking does not show.
int CImagingZEP::DF_WH32bit5_1(unsigned char* src, int srcWidth, int srcHeight, int srcStride, unsigned char* dst,
                               int dstWidth, int dstHeight, int dstStride, int filter, int lobes) {
  if (src == nullptr || dst == nullptr) return 0;
  if (srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1) return 1;
  if (kalvetra::simd::enabled() && kalvetra::simd::resample({src, srcWidth, srcHeight, srcStride},
                                                            {dst, dstWidth, dstHeight, dstStride}, filter, lobes)) {
    return 1;
  }
  const Taps horizontal = makeTaps(srcWidth, dstWidth, filter, lobes);
  const Taps vertical = makeTaps(srcHeight, dstHeight, filter, lobes);

  const std::size_t rowLength = static_cast<std::size_t>(dstWidth) * 3;
  std::vector<int> intermediate(rowLength * static_cast<std::size_t>(srcHeight));
  for (int i = 0; i < srcHeight; ++i) {
    resampleRow(src + std::ptrdiff_t{i} * srcStride, horizontal,
                intermediate.data() + static_cast<std::size_t>(i) * rowLength);
  }
  for (int r = 0; r < dstHeight; ++r) {
    const Window& window = vertical.windows[static_cast<std::size_t>(r)];
    resampleColumns(intermediate, window, vertical.taps.data() + window.taps, dstWidth,
                    dst + std::ptrdiff_t{r} * dstStride);
  }
  return 1;
}
