// The render entry's byte orders and its last steps.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/pixel_rows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "cpu/dispatch.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

template <class D>
HWY_INLINE hn::Vec<D> reversed(D d, hn::Vec<D> pixels) {
  const auto outer = hn::Or(hn::ShiftLeft<24>(pixels), hn::ShiftRight<24>(pixels));
  const auto low = hn::ShiftLeft<8>(hn::And(pixels, hn::Set(d, 0x0000FF00u)));
  const auto high = hn::And(hn::ShiftRight<8>(pixels), hn::Set(d, 0x0000FF00u));
  return hn::Or(outer, hn::Or(low, high));
}

// A pixel of host order with its keyed matte in the low byte of `matte`.
template <class D>
HWY_INLINE hn::Vec<D> finished(D d, const simd::MatteFinish& finish, hn::Vec<D> host, hn::Vec<D> keyed,
                               hn::Vec<D> matte) {
  const auto low = hn::Set(d, 0xFFu);
  const auto hostAlpha = hn::And(host, low);
  auto alpha = hn::Min(matte, hostAlpha);
  if (finish.clips) {
    HWY_ALIGN std::uint32_t lanes[hn::MaxLanes(hn::ScalableTag<std::uint32_t>())];
    hn::Store(alpha, d, lanes);
    for (std::size_t i = 0; i < hn::Lanes(d); ++i) lanes[i] = finish.clipped[lanes[i]];
    alpha = hn::Load(d, lanes);
  }
  if (finish.matteView) return hn::Or(low, alpha * hn::Set(d, 0x01010100u));
  const auto kept = hn::IfThenElse(hostAlpha == hn::Zero(d), host, keyed);
  return hn::Or(hn::AndNot(low, kept), alpha);
}

}  // namespace

void reverseBytes(unsigned char* pixels, std::size_t count) {
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    storePixels(d, reversed(d, loadPixels(d, pixels, i)), pixels, i);
  });
}

void finishKeyed(const simd::MatteFinish& finish, const unsigned char* host, unsigned char* keyed, std::size_t pixels) {
  const bool plain = !finish.clips && !finish.matteView;
  forSpan<std::uint32_t>(0, pixels, [&](auto d, std::size_t i) HWY_ATTR {
    const auto low = hn::Set(d, 0xFFu);
    const auto source = loadPixels(d, host, i);
    // Where the host is opaque, there is nothing to limit.
    if (plain && hn::AllTrue(d, hn::And(source, low) == low)) return;
    const auto v = loadPixels(d, keyed, i);
    storePixels(d, finished(d, finish, source, v, hn::And(v, low)), keyed, i);
  });
}

void finishWithMatte(const simd::MatteFinish& finish, const unsigned char* host, const unsigned char* matte,
                     unsigned char* keyed, std::size_t pixels) {
  forSpan<std::uint32_t>(0, pixels, [&](auto d, std::size_t i) HWY_ATTR {
    const auto m = hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, decltype(d)>(), matte + i));
    storePixels(d, finished(d, finish, loadPixels(d, host, i), loadPixels(d, keyed, i), m), keyed, i);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(reverseBytes);
HWY_EXPORT(finishKeyed);
HWY_EXPORT(finishWithMatte);

void simd::reverseBytes(unsigned char* pixels, std::size_t count) { KALVETRA_VECTOR_FORM(reverseBytes)(pixels, count); }

void simd::finishRow(const MatteFinish& finish, const unsigned char* host, unsigned char* keyed, std::size_t pixels) {
  KALVETRA_VECTOR_FORM(finishKeyed)(finish, host, keyed, pixels);
}

void simd::finishRow(const MatteFinish& finish, const unsigned char* host, const unsigned char* matte,
                     unsigned char* keyed, std::size_t pixels) {
  KALVETRA_VECTOR_FORM(finishWithMatte)(finish, host, matte, keyed, pixels);
}

}  // namespace kalvetra
#endif
