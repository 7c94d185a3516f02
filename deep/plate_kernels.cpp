#include "deep/plate_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/plate_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using DF = hn::ScalableTag<float>;
using DPixel = hn::FixedTag<float, 4>;

static_assert(hn::MaxLanes(DF()) <= RowBuffer::kWholeVectors);

void accumulate(const float* plane, float weight, float* sums, int width) {
  const auto w = hn::Set(DF(), weight);
  for (std::size_t x = 0; x < RowBuffer::room(width); x += hn::Lanes(DF())) {
    hn::Store(hn::Load(DF(), sums + x) + w * hn::Load(DF(), plane + x), DF(), sums + x);
  }
}

void weightedSum(const float* const* rows, const float* weights, std::size_t count, float* result, std::size_t floats) {
  for (std::size_t x = 0; x < floats; x += hn::Lanes(DF())) {
    auto sum = hn::Zero(DF());
    for (std::size_t k = 0; k < count; ++k) sum = sum + hn::Set(DF(), weights[k]) * hn::LoadU(DF(), rows[k] + x);
    hn::StoreU(sum, DF(), result + x);
  }
}

void interleave(ConstRow planes, float* pixels, int width) {
  for (std::size_t x = 0; x < RowBuffer::room(width); x += hn::Lanes(DF())) {
    const auto red = hn::Load(DF(), planes.red + x), green = hn::Load(DF(), planes.green + x),
               blue = hn::Load(DF(), planes.blue + x);
    hn::StoreInterleaved4(red, green, blue, hn::Zero(DF()), DF(), pixels + 4 * x);
  }
}

void separate(const float* pixels, Row planes, int width) {
  for (std::size_t x = 0; x < RowBuffer::room(width); x += hn::Lanes(DF())) {
    hn::Vec<DF> red, green, blue, rest;
    hn::LoadInterleaved4(DF(), pixels + 4 * x, red, green, blue, rest);
    hn::Store(red, DF(), planes.red + x);
    hn::Store(green, DF(), planes.green + x);
    hn::Store(blue, DF(), planes.blue + x);
  }
}

void resampleAlong(const float* pixels, const Weights& table, float* result) {
  for (const Window& window : table.windows) {
    const float* weight = table.weights.data() + window.taps;
    auto sum = hn::Zero(DPixel());
    for (int k = window.first; k <= window.last; ++k, ++weight) {
      sum = sum +
            hn::Set(DPixel(), *weight) * hn::LoadU(DPixel(), pixels + std::size_t{4} * static_cast<unsigned>(k - 1));
    }
    hn::StoreU(sum, DPixel(), result);
    result += 4;
  }
}

namespace {

// The sum of pixels and the least in each of their channels. Four of each that are joined in the end: one alone would
// wait for each step.
class Stretch {
 public:
  explicit HWY_INLINE Stretch(const float* pixel) {
    for (auto& sum : sums_) sum = hn::Zero(DPixel());
    for (auto& least : least_) least = hn::LoadU(DPixel(), pixel);
  }
  HWY_INLINE void add(const float* pixels, int count) {
    for (; count >= 4; count -= 4, pixels += 16) {
      for (std::size_t j = 0; j < 4; ++j) take(j, pixels + 4 * j);
    }
    for (; count > 0; --count, pixels += 4) take(0, pixels);
  }
  HWY_INLINE hn::Vec<DPixel> sum() const { return (sums_[0] + sums_[1]) + (sums_[2] + sums_[3]); }
  HWY_INLINE hn::Vec<DPixel> least() const {
    return hn::Min(hn::Min(least_[0], least_[1]), hn::Min(least_[2], least_[3]));
  }

 private:
  HWY_INLINE void take(std::size_t j, const float* pixel) {
    const auto color = hn::LoadU(DPixel(), pixel);
    sums_[j] = sums_[j] + color;
    least_[j] = hn::Min(least_[j], color);
  }

  hn::Vec<DPixel> sums_[4], least_[4];
};

}  // namespace

void columnMeans(const float* columns, int height, const std::vector<simd::Cell>& cells, int reach, float* means) {
  for (const simd::Cell& cell : cells) {
    const float* column = columns + std::size_t{4} * static_cast<unsigned>(cell.x) * static_cast<unsigned>(height);
    const int first = std::max(cell.y - reach, 0), last = std::min(cell.y + reach, height - 1);
    const int above = cell.y - first, below = last - cell.y;
    const float* const own = column + 4 * cell.y;
    auto mean = hn::LoadU(DPixel(), own);
    if (above + below > 0) {
      Stretch stretch(above > 0 ? own - 4 : own + 4);
      stretch.add(own - 4 * above, above);
      stretch.add(own + 4, below);
      const float count = static_cast<float>(above + below);
      const auto lost = hn::Set(DPixel(), 0.5f - 0.5f / count);
      mean = hn::Max(stretch.sum() / hn::Set(DPixel(), count) - lost, stretch.least());
    }
    hn::StoreU(mean, DPixel(), means);
    means += 4;
  }
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(accumulate);
HWY_EXPORT(weightedSum);
HWY_EXPORT(interleave);
HWY_EXPORT(separate);
HWY_EXPORT(resampleAlong);
HWY_EXPORT(columnMeans);

void accumulate(const float* plane, float weight, float* sums, int width) {
  KALVETRA_ONE_FORM(accumulate)(plane, weight, sums, width);
}

void weightedSum(const float* const* rows, const float* weights, std::size_t count, float* result, std::size_t floats) {
  KALVETRA_ONE_FORM(weightedSum)(rows, weights, count, result, floats);
}

void interleave(ConstRow planes, float* pixels, int width) { KALVETRA_ONE_FORM(interleave)(planes, pixels, width); }

void separate(const float* pixels, Row planes, int width) { KALVETRA_ONE_FORM(separate)(pixels, planes, width); }

void resampleAlong(const float* pixels, const Weights& table, float* result) {
  KALVETRA_ONE_FORM(resampleAlong)(pixels, table, result);
}

void columnMeans(const float* columns, int height, const std::vector<simd::Cell>& cells, int reach, float* means) {
  KALVETRA_ONE_FORM(columnMeans)(columns, height, cells, reach, means);
}

}  // namespace kalvetra::deep
#endif
