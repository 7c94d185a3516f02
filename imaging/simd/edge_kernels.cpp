#include "imaging/simd/row_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/edge_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// Two channels of a pixel share a lane, 16 bits each: nine bytes sum to 2295 at most. Eight times the centre less its
// neighbours is nine times the centre less all nine.
void markEdges(const unsigned char* above, const unsigned char* row, const unsigned char* below, unsigned char* result,
               std::size_t width, int threshold) {
  forSpan<std::uint32_t>(1, width - 1, [&](auto d, std::size_t i) HWY_ATTR {
    const hn::RebindToSigned<decltype(d)> di;
    const hn::Repartition<std::int16_t, decltype(d)> dShort;
    const hn::Rebind<std::uint8_t, decltype(d)> dByte;
    const auto low = hn::Set(d, 0x00FF00FFu);
    auto outer = hn::Zero(d), inner = hn::Zero(d);  // sums of bytes 0 and 2, and of byte 1
    for (const unsigned char* line : {above, row, below}) {
      for (std::size_t x = i - 1; x <= i + 1; ++x) {
        const auto v = loadPixels(d, line, x);
        outer = outer + hn::And(v, low);
        inner = inner + hn::And(hn::ShiftRight<8>(v), hn::Set(d, 0xFFu));
      }
    }
    const auto response = [&](auto centre, auto sum) HWY_ATTR {
      const auto nine = hn::Mul(hn::BitCast(dShort, centre), hn::Set(dShort, std::int16_t{9}));
      return hn::BitCast(d, hn::Max(nine - hn::BitCast(dShort, sum), hn::Zero(dShort)));
    };
    const auto centre = loadPixels(d, row, i);
    const auto two = response(hn::And(centre, low), outer);
    const auto one = response(hn::And(hn::ShiftRight<8>(centre), hn::Set(d, 0xFFu)), inner);
    const auto total = hn::And(two, hn::Set(d, 0xFFFFu)) + hn::ShiftRight<16>(two) + hn::And(one, hn::Set(d, 0xFFFFu));
    // total / 3 by a multiplication: exact below 32768, and no total exceeds 6120.
    const auto mean = hn::BitCast(di, hn::ShiftRight<16>(total * hn::Set(d, 21846u)));
    const auto mark = hn::IfThenZeroElse(mean < hn::Set(di, threshold), hn::ShiftRight<3>(mean));
    hn::StoreU(hn::DemoteTo(dByte, mark), dByte, result + i);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(markEdges);

void simd::markEdges(const unsigned char* above, const unsigned char* row, const unsigned char* below,
                     unsigned char* result, std::size_t width, int threshold) {
  KALVETRA_VECTOR_FORM(markEdges)(above, row, below, result, width, threshold);
}

}  // namespace kalvetra
#endif
