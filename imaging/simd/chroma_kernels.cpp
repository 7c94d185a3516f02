#include "imaging/simd/row_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "imaging/simd/chroma_kernels.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

// One byte of every pixel as floats.
template <int kShift, class D>
HWY_INLINE auto channel(D d, hn::Vec<D> pixels) {
  const hn::Rebind<float, D> df;
  const auto bytes = hn::And(hn::ShiftRight<kShift>(pixels), hn::Set(d, 0xFFu));
  return hn::ConvertTo(df, hn::BitCast(hn::RebindToSigned<D>(), bytes));
}

template <simd::ByteOrder kOrder>
HWY_INLINE void split(const unsigned char* pixels, unsigned char* luma, unsigned char* chroma, std::size_t count) {
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    const hn::Rebind<float, decltype(d)> df;
    const hn::Rebind<std::uint16_t, decltype(d)> dPair;
    const auto all = [df](float v) HWY_ATTR { return hn::Set(df, v); };
    const auto v = loadPixels(d, pixels, i);
    const auto b = channel<blueBit(kOrder)>(d, v), g = channel<greenBit(kOrder)>(d, v),
               r = channel<redBit(kOrder)>(d, v);
    // All three lie within 0.5..255.5.
    const auto y = truncInRange(df, r * all(0.299f) + g * all(0.587f) + b * all(0.114f) + all(0.5f));
    hn::StoreU(hn::DemoteTo(hn::Rebind<std::uint8_t, decltype(d)>(), y), hn::Rebind<std::uint8_t, decltype(d)>(),
               luma + i);
    const auto cb = truncInRange(df, r * all(-0.1687f) + g * all(-0.3313f) + b * all(0.5f) + all(128.0f));
    const auto cr = truncInRange(df, r * all(0.5f) + g * all(-0.4187f) + b * all(-0.0813f) + all(128.0f));
    hn::StoreU(hn::DemoteTo(dPair, hn::Or(cb, hn::ShiftLeft<8>(cr))), dPair,
               reinterpret_cast<std::uint16_t*>(chroma) + i);
  });
}

template <simd::ByteOrder kOrder>
HWY_INLINE void join(const unsigned char* luma, const unsigned char* chroma, unsigned char* pixels, std::size_t count) {
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    const hn::Rebind<float, decltype(d)> df;
    const hn::Rebind<std::uint16_t, decltype(d)> dPair;
    const auto all = [df](float v) HWY_ATTR { return hn::Set(df, v); };
    const auto pairs = hn::PromoteTo(d, hn::LoadU(dPair, reinterpret_cast<const std::uint16_t*>(chroma) + i));
    const auto y = loadBytes(df, luma + i);
    const auto cb = channel<0>(d, pairs) - all(127.5f), cr = channel<8>(d, pairs) - all(127.5f);
    const auto scale = all(0.99609375f), half = all(0.5f);
    const auto byte = [df](auto v)
                          HWY_ATTR { return truncInRange(df, hn::Min(hn::Max(v, hn::Zero(df)), hn::Set(df, 255.0f))); };
    const auto b = byte((y + all(1.772f) * cb) * scale + half);
    const auto g = byte((y - all(0.34414f) * cb - all(0.71414f) * cr) * scale + half);
    const auto r = byte((y + all(1.402f) * cr) * scale + half);
    const auto color =
        hn::BitCast(d, hn::Or(hn::ShiftLeft<blueBit(kOrder)>(b),
                              hn::Or(hn::ShiftLeft<greenBit(kOrder)>(g), hn::ShiftLeft<redBit(kOrder)>(r))));
    const auto alpha = hn::And(loadPixels(d, pixels, i), hn::Set(d, 0xFFu << alphaBit(kOrder)));
    storePixels(d, hn::Or(alpha, color), pixels, i);
  });
}

}  // namespace

void splitChroma(const unsigned char* pixels, simd::ByteOrder order, unsigned char* luma, unsigned char* chroma,
                 std::size_t count) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR { split<kOrder()>(pixels, luma, chroma, count); });
}

void joinChroma(const unsigned char* luma, const unsigned char* chroma, simd::ByteOrder order, unsigned char* pixels,
                std::size_t count) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR { join<kOrder()>(luma, chroma, pixels, count); });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(splitChroma);
HWY_EXPORT(joinChroma);

void simd::splitChroma(const unsigned char* pixels, ByteOrder order, unsigned char* luma, unsigned char* chroma,
                       std::size_t count) {
  KALVETRA_VECTOR_FORM(splitChroma)(pixels, order, luma, chroma, count);
}

void simd::joinChroma(const unsigned char* luma, const unsigned char* chroma, ByteOrder order, unsigned char* pixels,
                      std::size_t count) {
  KALVETRA_VECTOR_FORM(joinChroma)(luma, chroma, order, pixels, count);
}

}  // namespace kalvetra
#endif
