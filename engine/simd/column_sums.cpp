#include "engine/simd/column_sums.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/column_sums.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>

#include "imaging/numeric.h"
#include "imaging/simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

namespace {

struct Totals {
  std::uint32_t blue, green, red, count;
};

// Two channels share a lane, 16 bits each. Plates have at most 320 rows, so that no lane's sum exceeds 80 * 255; longer
// columns are summed in pieces.
Totals sumsOf(const std::uint32_t* pixels, std::size_t count) {
  const hn::ScalableTag<std::uint32_t> d;
  const std::size_t lanes = hn::Lanes(d), piece = 240 * lanes;
  HWY_ALIGN std::uint32_t outer[hn::MaxLanes(d)], inner[hn::MaxLanes(d)];
  Totals totals{0, 0, 0, 0};
  for (std::size_t start = 0; start < count; start += piece) {
    const std::size_t end = std::min(count, start + piece);
    auto even = hn::Zero(d), odd = hn::Zero(d);
    const auto low = hn::Set(d, 0x00FF00FFu);
    for (std::size_t i = start; i < end; i += lanes) {
      const auto v = hn::IfThenElseZero(hn::FirstN(d, end - i), hn::LoadU(d, pixels + i));
      even = even + hn::And(v, low);
      odd = odd + hn::And(hn::ShiftRight<8>(v), low);
    }
    hn::Store(even, d, outer);
    hn::Store(odd, d, inner);
    for (std::size_t i = 0; i < lanes; ++i) {
      totals.blue += outer[i] & 0xFFFFu;
      totals.red += outer[i] >> 16;
      totals.green += inner[i] & 0xFFFFu;
      totals.count += inner[i] >> 16;
    }
  }
  return totals;
}

std::uint32_t mean(std::uint32_t sum, float count) { return truncToByte((static_cast<float>(sum) + 0.5f) / count); }

}  // namespace

void columnMeans(const simd::Columns& columns, const simd::Cell* cells, std::size_t count, int reach,
                 std::uint32_t* means) {
  for (std::size_t i = 0; i < count; ++i) {
    const simd::Cell cell = cells[i];
    const int first = std::max(cell.y - reach, 0), last = std::min(cell.y + reach, columns.height - 1);
    const std::uint32_t* column = columns.pixels.data() + static_cast<std::size_t>(cell.x) * columns.stride;
    const std::uint32_t own = column[cell.y];
    Totals t = sumsOf(column + first, static_cast<std::size_t>(last - first + 1));
    t.count -= own >> 24;
    if (t.count == 0) {
      means[i] = own;
      continue;
    }
    const auto n = static_cast<float>(t.count);
    const std::uint32_t color = mean(t.blue - (own & 0xFFu), n) | mean(t.green - (own >> 8 & 0xFFu), n) << 8 |
                                mean(t.red - (own >> 16 & 0xFFu), n) << 16;
    means[i] = color == 0 ? 0 : color | 1u << 24;
  }
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(columnMeans);

void simd::columnMeans(const Columns& columns, const Cell* cells, std::size_t count, int reach, std::uint32_t* means) {
  KALVETRA_VECTOR_FORM(columnMeans)(columns, cells, count, reach, means);
}

}  // namespace kalvetra
#endif
