#include "deep/matte_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/matte_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>

#include "cpu/dispatch.h"
#include "deep/maths-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

static_assert(hn::MaxLanes(DF()) <= RowBuffer::kWholeVectors);

namespace {

HWY_INLINE hn::Vec<DI> rounded(VF v) { return truncInRange(DF(), hn::Floor(v + all(0.5f))); }

HWY_INLINE hn::Vec<DI> fixedPoint(const FixedPoint& fixed, const float* values) {
  return rounded(within(hn::Load(DF(), values), -fixed.largest, fixed.largest) * all(fixed.scale));
}

}  // namespace

void slideColumns(const FixedPoint& fixed, const float* entering, const float* leaving, std::int32_t* sums,
                  std::size_t count) {
  const FixedPoint by = fixed;
  for (std::size_t x = 0; x < count; x += hn::Lanes(DF())) {
    auto sum = hn::LoadU(DI(), sums + x);
    if (entering != nullptr) sum = sum + fixedPoint(by, entering + x);
    if (leaving != nullptr) sum = sum - fixedPoint(by, leaving + x);
    hn::StoreU(sum, DI(), sums + x);
  }
}

void meansOf(const std::int32_t* sums, float weight, std::int32_t* means, std::size_t count) {
  for (std::size_t x = 0; x < count; x += hn::Lanes(DF())) {
    hn::StoreU(rounded(hn::ConvertTo(DF(), hn::LoadU(DI(), sums + x)) * all(weight)), DI(), means + x);
  }
}

void windowMeans(const std::int32_t* first, const std::int32_t* last, const float* weights, float* result,
                 std::size_t count) {
  for (std::size_t x = 0; x < count; x += hn::Lanes(DF())) {
    const auto sum = hn::LoadU(DI(), last + x) - hn::LoadU(DI(), first + x);
    hn::Store(hn::ConvertTo(DF(), sum) * hn::LoadU(DF(), weights + x), DF(), result + x);
  }
}

void splitChroma(Row row, int width) {
  for (std::size_t x = 0; x < RowBuffer::room(width); x += hn::Lanes(DF())) {
    const VF r = hn::Load(DF(), row.red + x), g = hn::Load(DF(), row.green + x), b = hn::Load(DF(), row.blue + x);
    hn::Store(r * all(0.299f) + g * all(0.587f) + b * all(0.114f), DF(), row.red + x);
    hn::Store(r * all(-0.1687f) + g * all(-0.3313f) + b * all(0.5f), DF(), row.green + x);
    hn::Store(r * all(0.5f) + g * all(-0.4187f) + b * all(-0.0813f), DF(), row.blue + x);
  }
}

void joinChroma(ConstRow row, const float* blueDifference, const float* redDifference, Row result, int width) {
  // Part of the result that keys are tuned to: white comes back a little darker, and differences lower by what the
  // truncation of their averages takes in bytes on the mean.
  const VF scale = all(0.99609375f), half = all(0.5f);
  for (std::size_t x = 0; x < RowBuffer::room(width); x += hn::Lanes(DF())) {
    const VF y = hn::Load(DF(), row.red + x), cb = hn::Load(DF(), blueDifference + x) - half,
             cr = hn::Load(DF(), redDifference + x) - half;
    hn::Store((y + all(1.402f) * cr) * scale, DF(), result.red + x);
    hn::Store((y - all(0.34414f) * cb - all(0.71414f) * cr) * scale, DF(), result.green + x);
    hn::Store((y + all(1.772f) * cb) * scale, DF(), result.blue + x);
    hn::Store(hn::Load(DF(), row.alpha + x), DF(), result.alpha + x);
  }
}

void invert(const float* row, float* result, std::size_t count) {
  for (std::size_t x = 0; x < count; x += hn::Lanes(DF())) {
    hn::Store(all(255.0f) - hn::Load(DF(), row + x), DF(), result + x);
  }
}

bool contractRow(const float* above, const float* row, const float* below, float* result, std::size_t width,
                 float slack, bool square) {
  const auto at = [](const float* line, std::size_t x, std::ptrdiff_t dx)
                      HWY_ATTR { return hn::LoadU(DF(), line + static_cast<std::ptrdiff_t>(x) + dx); };
  for (std::size_t x = 0; x < width; x += hn::Lanes(DF())) {
    const VF matte = at(row, x, 0);
    VF smallest = least(least(at(row, x, -1), at(row, x, 1)), least(at(above, x, 0), at(below, x, 0)));
    if (square) {
      smallest =
          least(smallest, least(least(at(above, x, -1), at(above, x, 1)), least(at(below, x, -1), at(below, x, 1))));
      smallest = least(smallest, matte);
    }
    hn::Store(least(smallest + all(slack), matte), DF(), result + x);
  }
  result[0] = row[0];
  result[width - 1] = row[width - 1];
  std::size_t x = 0;
  for (; x + hn::Lanes(DF()) <= width; x += hn::Lanes(DF())) {
    if (!hn::AllTrue(DF(), at(row, x, 0) == at(result, x, 0))) return true;
  }
  return !std::equal(row + x, row + width, result + x);
}

// In 8 bits the averages are truncated before they are squared, and the squares again: half a level less on the mean.
void erode(const Erosion& erosion, const float* edge, float* matte, std::size_t count) {
  const VF half = all(0.5f), zero = all(0.0f), white = all(255.0f);
  const VF amount = all(erosion.amount / 255.0f), offset = all(erosion.offset);
  for (std::size_t x = 0; x < count; x += hn::Lanes(DF())) {
    const VF a = hn::Load(DF(), matte + x), p = most(hn::Load(DF(), edge + x) - half, zero);
    const VF curve = most(least(p * p * all(4.0f / 255.0f) - half, white), zero);
    hn::Store(a - most(a * (curve * amount) - offset, zero), DF(), matte + x);
  }
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(slideColumns);
HWY_EXPORT(meansOf);
HWY_EXPORT(windowMeans);
HWY_EXPORT(splitChroma);
HWY_EXPORT(joinChroma);
HWY_EXPORT(invert);
HWY_EXPORT(contractRow);
HWY_EXPORT(erode);

void slideColumns(const FixedPoint& fixed, const float* entering, const float* leaving, std::int32_t* sums,
                  std::size_t count) {
  KALVETRA_ONE_FORM(slideColumns)(fixed, entering, leaving, sums, count);
}

void meansOf(const std::int32_t* sums, float weight, std::int32_t* means, std::size_t count) {
  KALVETRA_ONE_FORM(meansOf)(sums, weight, means, count);
}

void windowMeans(const std::int32_t* first, const std::int32_t* last, const float* weights, float* result,
                 std::size_t count) {
  KALVETRA_ONE_FORM(windowMeans)(first, last, weights, result, count);
}

void splitChroma(Row row, int width) { KALVETRA_ONE_FORM(splitChroma)(row, width); }

void joinChroma(ConstRow row, const float* blueDifference, const float* redDifference, Row result, int width) {
  KALVETRA_ONE_FORM(joinChroma)(row, blueDifference, redDifference, result, width);
}

void invert(const float* row, float* result, std::size_t count) { KALVETRA_ONE_FORM(invert)(row, result, count); }

bool contractRow(const float* above, const float* row, const float* below, float* result, std::size_t width,
                 float slack, bool square) {
  return KALVETRA_ONE_FORM(contractRow)(above, row, below, result, width, slack, square);
}

void erode(const Erosion& erosion, const float* edge, float* matte, std::size_t count) {
  KALVETRA_ONE_FORM(erode)(erosion, edge, matte, count);
}

}  // namespace kalvetra::deep
#endif
