// The resampler's two steps on rows of 4-byte pixels. All sums are integers modulo 2^32, so that their order does not
// show.
#include "imaging/simd/resample_kernels.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/resample_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

namespace {

using simd::kRowsAtOnce;
using simd::RowPlan;

// Lanes of one group: kPixels pixels of 4 channels in 16 bits, or as many as a vector holds.
using DShort = hn::CappedTag<std::int16_t, 4 * RowPlan::kPixels>;
using DWide = hn::Repartition<std::int32_t, DShort>;
using DByte = hn::Rebind<std::uint8_t, DShort>;
using VWide = hn::Vec<DWide>;

// x86 adds the products of neighbouring lanes, others those of the two halves of a vector; the order of the 16-bit
// lanes makes every sum one of a single channel.
constexpr bool kNeighbours = HWY_ARCH_X86 != 0;

// Place of channel c of pixel i in a group.
constexpr int placeOf(int i, int c) { return kNeighbours ? i / 2 * 8 + c * 2 + i % 2 : i * 4 + c; }

// A vector's sums of the four channels, folded into its first four lanes.
HWY_INLINE hn::Vec<hn::Full128<std::int32_t>> folded(VWide v) {
#if HWY_TARGET == HWY_AVX3
  const hn::Half<DWide> half;
  const auto two = hn::LowerHalf(half, v) + hn::UpperHalf(half, v);
  const hn::Half<decltype(half)> quarter;
  return hn::LowerHalf(quarter, two) + hn::UpperHalf(quarter, two);
#elif HWY_TARGET == HWY_AVX2
  const hn::Half<DWide> half;
  return hn::LowerHalf(half, v) + hn::UpperHalf(half, v);
#else
  return v;
#endif
}

}  // namespace

void orderPairs(const unsigned char* row, unsigned char* ordered, std::size_t pixels) {
  if (!kNeighbours) {
    std::memcpy(ordered, row, pixels * 4);
    return;
  }
  const hn::Full128<std::uint8_t> d;
  alignas(16) static constexpr std::uint8_t order[16] = {0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15};
  const auto indices = hn::Load(d, order);
  const std::size_t bytes = pixels * 4, whole = bytes / 16 * 16;
  for (std::size_t i = 0; i < whole; i += 16) {
    hn::StoreU(hn::TableLookupBytes(hn::LoadU(d, row + i), indices), d, ordered + i);
  }
  if (whole == bytes) return;
  alignas(16) std::uint8_t last[16] = {};
  std::memcpy(last, row + whole, bytes - whole);
  hn::StoreU(hn::TableLookupBytes(hn::Load(d, last), indices), d, ordered + whole);
}

void orderTaps(const std::int16_t (&taps)[RowPlan::kPixels], std::int16_t (&ordered)[4 * RowPlan::kPixels]) {
  for (int i = 0; i < RowPlan::kPixels; ++i) {
    for (int c = 0; c < 4; ++c) ordered[placeOf(i, c)] = taps[i];
  }
}

void resamplePairedRows(const RowPlan& plan, const unsigned char* const (&rows)[kRowsAtOnce],
                        std::int16_t* const (&results)[kRowsAtOnce]) {
  const DShort ds;
  const DWide dw;
  const DByte db;
  const hn::Full128<std::int32_t> d4;
  const hn::Rebind<std::int16_t, decltype(d4)> d4Short;
  const std::size_t lanes = hn::Lanes(ds);
  for (std::size_t x = 0; x < static_cast<std::size_t>(plan.outputWidth); ++x) {
    const Window& window = plan.windows[x];
    const std::int16_t* taps = plan.pairs.data() + window.taps;
    const std::size_t start = static_cast<std::size_t>(window.first) * 4;
    const std::size_t values = static_cast<std::size_t>(window.last) * 4 * RowPlan::kPixels;
    VWide a0 = hn::Zero(dw), b0 = a0, a1 = a0, b1 = a0, a2 = a0, b2 = a0, a3 = a0, b3 = a0;
    for (std::size_t i = 0; i < values; i += lanes) {
      const auto tap = hn::LoadU(ds, taps + i);
      const auto row = [&](int r) HWY_ATTR { return hn::PromoteTo(ds, hn::LoadU(db, rows[r] + start + i)); };
      a0 = hn::ReorderWidenMulAccumulate(dw, row(0), tap, a0, b0);
      a1 = hn::ReorderWidenMulAccumulate(dw, row(1), tap, a1, b1);
      a2 = hn::ReorderWidenMulAccumulate(dw, row(2), tap, a2, b2);
      a3 = hn::ReorderWidenMulAccumulate(dw, row(3), tap, a3, b3);
    }
    const auto store = [&](int r, VWide sums) HWY_ATTR {
      hn::StoreU(hn::DemoteTo(d4Short, hn::ShiftRight<16>(folded(sums))), d4Short, results[r] + x * 4);
    };
    store(0, a0 + b0);
    store(1, a1 + b1);
    store(2, a2 + b2);
    store(3, a3 + b3);
  }
}

void resampleRow(const RowPlan& plan, const unsigned char* row, std::int16_t* result) {
  const hn::Full128<std::int32_t> d4;
  const hn::Rebind<std::uint8_t, decltype(d4)> dByte;
  const hn::Rebind<std::int16_t, decltype(d4)> dShort;
  for (std::size_t x = 0; x < static_cast<std::size_t>(plan.outputWidth); ++x) {
    const Window& window = plan.windows[x];
    const int* tap = plan.taps.data() + window.taps;
    const unsigned char* pixel = row + std::ptrdiff_t{4} * (window.first - 1);
    const auto product = [&](int k) HWY_ATTR {
      return hn::PromoteTo(d4, hn::LoadU(dByte, pixel + std::ptrdiff_t{4} * k)) * hn::Set(d4, tap[k]);
    };
    const int count = window.last - window.first + 1;
    auto sums = hn::Zero(d4);
    if (count == 2) {  // nearly all windows of an enlargement with one lobe
      sums = product(0) + product(1);
    } else {
      for (int k = 0; k < count; ++k) sums = sums + product(k);
    }
    hn::StoreU(hn::DemoteTo(dShort, hn::ShiftRight<16>(sums)), dShort, result + x * 4);
  }
}

namespace {

// Adds up the rows' products for each vector of values; `sum(d, i)` gives the sums.
template <class Sum>
HWY_INLINE void resampleValues(unsigned char* result, std::size_t values, Sum sum) {
  const auto store = [&](auto d, std::size_t i) HWY_ATTR {
    const hn::Rebind<std::uint8_t, decltype(d)> dByte;
    hn::StoreU(hn::DemoteTo(dByte, hn::ShiftRight<16>(sum(d, i) + hn::Set(d, 32768))), dByte, result + i);
  };
  const hn::ScalableTag<std::int32_t> d;
  std::size_t i = 0;
  for (; i + hn::Lanes(d) <= values; i += hn::Lanes(d)) store(d, i);
  for (; i < values; i += 4) store(hn::Full128<std::int32_t>(), i);  // `values` is a multiple of 4
}

}  // namespace

void resampleColumns(const std::int16_t* const* rows, const int* taps, std::size_t count, unsigned char* result,
                     std::size_t values) {
  const auto product = [](auto d, const std::int16_t* row, std::size_t i, int tap) HWY_ATTR {
    return hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::int16_t, decltype(d)>(), row + i)) * hn::Set(d, tap);
  };
  if (count == 2) {
    const std::int16_t *row0 = rows[0], *row1 = rows[1];
    const int tap0 = taps[0], tap1 = taps[1];
    resampleValues(result, values, [&](auto d, std::size_t i) HWY_ATTR {
      return product(d, row0, i, tap0) + product(d, row1, i, tap1);
    });
    return;
  }
  resampleValues(result, values, [&](auto d, std::size_t i) HWY_ATTR {
    auto sums = hn::Zero(d);
    for (std::size_t k = 0; k < count; ++k) sums = sums + product(d, rows[k], i, taps[k]);
    return sums;
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(orderPairs);
HWY_EXPORT(orderTaps);
HWY_EXPORT(resamplePairedRows);
HWY_EXPORT(resampleRow);
HWY_EXPORT(resampleColumns);

void simd::orderPairs(const unsigned char* row, unsigned char* ordered, std::size_t pixels) {
  KALVETRA_VECTOR_FORM(orderPairs)(row, ordered, pixels);
}

void simd::orderTaps(const std::int16_t (&taps)[RowPlan::kPixels], std::int16_t (&ordered)[4 * RowPlan::kPixels]) {
  KALVETRA_VECTOR_FORM(orderTaps)(taps, ordered);
}

void simd::resamplePairedRows(const RowPlan& plan, const unsigned char* const (&rows)[kRowsAtOnce],
                              std::int16_t* const (&results)[kRowsAtOnce]) {
  KALVETRA_VECTOR_FORM(resamplePairedRows)(plan, rows, results);
}

void simd::resampleRow(const RowPlan& plan, const unsigned char* row, std::int16_t* result) {
  KALVETRA_VECTOR_FORM(resampleRow)(plan, row, result);
}

void simd::resampleColumns(const std::int16_t* const* rows, const int* taps, std::size_t count, unsigned char* result,
                           std::size_t values) {
  KALVETRA_VECTOR_FORM(resampleColumns)(rows, taps, count, result, values);
}

}  // namespace kalvetra
#endif
