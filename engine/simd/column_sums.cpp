#include "engine/simd/column_sums.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/column_sums.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstring>

#include "cpu/dispatch.h"
#include "imaging/numeric.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

namespace {

struct Totals {
  std::uint32_t blue, green, red, count;
};

// Four 16-bit numbers in one.
std::uint64_t folded(const std::uint32_t* lanes, std::size_t count) {
  std::uint64_t sums = 0;
  for (std::size_t i = 0; i < count; i += 2) {
    std::uint64_t pair;
    std::memcpy(&pair, lanes + i, sizeof pair);
    sums += pair;
  }
  return sums;
}

// Two channels share a lane, 16 bits each: in pieces of 512 pixels no sum over every other lane exceeds 256 * 255.
Totals sumsOf(const std::uint32_t* pixels, std::size_t count) {
  const hn::ScalableTag<std::uint32_t> d;
  constexpr std::size_t kPiece = 512;
  const std::size_t lanes = hn::Lanes(d);
  HWY_ALIGN std::uint32_t outer[hn::MaxLanes(d)], inner[hn::MaxLanes(d)];
  Totals totals{0, 0, 0, 0};
  for (std::size_t start = 0; start < count; start += kPiece) {
    const std::size_t end = std::min(count, start + kPiece);
    auto even = hn::Zero(d), odd = hn::Zero(d);
    const auto low = hn::Set(d, 0x00FF00FFu);
    const auto add = [&](auto v) HWY_ATTR {
      even = even + hn::And(v, low);
      odd = odd + hn::And(hn::ShiftRight<8>(v), low);
    };
    std::size_t i = start;
    for (; i + lanes <= end; i += lanes) add(hn::LoadU(d, pixels + i));
    if (i < end) add(hn::IfThenElseZero(hn::FirstN(d, end - i), hn::LoadU(d, pixels + i)));
    hn::Store(even, d, outer);
    hn::Store(odd, d, inner);
    const std::uint64_t blueRed = folded(outer, lanes), greenCount = folded(inner, lanes);
    const auto channel = [](std::uint64_t sums, int at) {
      return static_cast<std::uint32_t>((sums >> at & 0xFFFFu) + (sums >> (at + 32) & 0xFFFFu));
    };
    totals.blue += channel(blueRed, 0);
    totals.red += channel(blueRed, 16);
    totals.green += channel(greenCount, 0);
    totals.count += channel(greenCount, 16);
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
    const std::uint32_t* column =
        columns.pixels.data() + static_cast<std::size_t>(cell.x) * static_cast<std::size_t>(columns.height);
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
