#include "media/pixels/simd/yuv_row.h"

#include <bit>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/pixels/simd/yuv_row.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::simd::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET == HWY_SCALAR  // the baseline of the table, never in use: the plain loop does all pixels
int convertYuvRow(const YuvMatrix&, const std::int16_t*, const std::int16_t*, const std::int16_t*, int,
                  unsigned char*) {
  return 0;
}
#else

static_assert(std::endian::native == std::endian::little,
              "pixels are put together as words whose lowest byte comes first");

using Words = hn::ScalableTag<std::int32_t>;
using Bits = hn::RebindToUnsigned<Words>;
using Pairs = hn::Repartition<std::int16_t, Words>;
using Word = hn::Vec<Words>;
using Pair = hn::Vec<Pairs>;

// The upper half of each word stays clear, also for samples that are damaged and negative.
HWY_INLINE hn::Vec<Bits> load(const std::int16_t* samples) {
  const hn::Rebind<std::uint16_t, Bits> half;
  return hn::PromoteTo(Bits(), hn::LoadU(half, reinterpret_cast<const std::uint16_t*>(samples)));
}

// Two values a word, the first one low.
HWY_INLINE Pair pairUp(hn::Vec<Bits> first, hn::Vec<Bits> second) {
  return hn::BitCast(Pairs(), hn::Or(first, hn::ShiftLeft<16>(second)));
}

HWY_INLINE Pair factors(std::int16_t first, std::int16_t second) {
  const auto bits = [](std::int16_t v) { return std::uint32_t{static_cast<std::uint16_t>(v)}; };
  return hn::BitCast(Pairs(), hn::Set(Bits(), bits(first) | bits(second) << 16));
}

// The sum of both products of each pair.
HWY_INLINE Word dot(Pair a, Pair b) {
  Word rest = hn::Zero(Words());
  const Word sum = hn::ReorderWidenMulAccumulate(Words(), a, b, hn::Zero(Words()), rest);
  return hn::RearrangeToOddPlusEven(sum, rest);
}

int convertYuvRow(const YuvMatrix& m, const std::int16_t* y, const std::int16_t* u, const std::int16_t* v, int width,
                  unsigned char* argb) {
  const Words words;
  const int lanes = static_cast<int>(hn::Lanes(words));
  const Pair red = factors(m.luma, m.redV), green = factors(m.luma, m.greenV), blue = factors(m.luma, m.blueU),
             greenU = factors(m.greenU, 0);
  const Word redBias = hn::Set(words, m.redBias), greenBias = hn::Set(words, m.greenBias),
             blueBias = hn::Set(words, m.blueBias);
  const auto byte = [&](Word sum) {
    const Word level = hn::ShiftRightSame(sum, m.shift);
    return hn::BitCast(Bits(), hn::Min(hn::Max(level, hn::Zero(words)), hn::Set(words, 255)));
  };
  int x = 0;
  for (; x + lanes <= width; x += lanes) {
    const hn::Vec<Bits> luma = load(y + x), chromaU = load(u + x), chromaV = load(v + x);
    const Pair lumaV = pairUp(luma, chromaV), lumaU = pairUp(luma, chromaU);
    const auto r = byte(hn::Add(dot(lumaV, red), redBias));
    const auto g = byte(hn::Add(hn::Add(dot(lumaV, green), greenBias), dot(hn::BitCast(Pairs(), chromaU), greenU)));
    const auto b = byte(hn::Add(dot(lumaU, blue), blueBias));
    const auto alphaRed = hn::Or(hn::Set(Bits(), 255), hn::ShiftLeft<8>(r));
    const auto pixels = hn::Or(alphaRed, hn::Or(hn::ShiftLeft<16>(g), hn::ShiftLeft<24>(b)));
    hn::StoreU(hn::BitCast(hn::Repartition<std::uint8_t, Words>(), pixels), hn::Repartition<std::uint8_t, Words>(),
               argb + std::ptrdiff_t{4} * x);
  }
  return x;
}

#endif

}  // namespace kalvetra::simd::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::simd {

HWY_EXPORT(convertYuvRow);

int convertYuvRow(const YuvMatrix& matrix, const std::int16_t* y, const std::int16_t* u, const std::int16_t* v,
                  int width, unsigned char* argb) {
  return KALVETRA_VECTOR_FORM(convertYuvRow)(matrix, y, u, v, width, argb);
}

}  // namespace kalvetra::simd
#endif
