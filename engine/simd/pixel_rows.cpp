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

using simd::ByteOrder;

template <ByteOrder kOrder, class D>
HWY_INLINE hn::Vec<D> alphaOf(D d, hn::Vec<D> pixels) {
  return hn::And(hn::ShiftRight<alphaBit(kOrder)>(pixels), hn::Set(d, 0xFFu));
}

// A pixel with its keyed matte in the low byte of `matte`.
template <ByteOrder kOrder, class D>
HWY_INLINE hn::Vec<D> finished(D d, const simd::MatteFinish& finish, hn::Vec<D> host, hn::Vec<D> keyed,
                               hn::Vec<D> matte) {
  const auto alphaBits = hn::Set(d, 0xFFu << alphaBit(kOrder));
  const auto hostAlpha = alphaOf<kOrder>(d, host);
  auto alpha = hn::Min(matte, hostAlpha);
  if (finish.clips) {
    HWY_ALIGN std::uint32_t lanes[hn::MaxLanes(hn::ScalableTag<std::uint32_t>())];
    hn::Store(alpha, d, lanes);
    for (std::size_t i = 0; i < hn::Lanes(d); ++i) lanes[i] = finish.clipped[lanes[i]];
    alpha = hn::Load(d, lanes);
  }
  if (finish.matteView) return hn::Or(alphaBits, alpha * hn::Set(d, 0x01010101u & ~(0xFFu << alphaBit(kOrder))));
  const auto kept = hn::IfThenElse(hostAlpha == hn::Zero(d), host, keyed);
  return hn::Or(hn::AndNot(alphaBits, kept), hn::ShiftLeft<alphaBit(kOrder)>(alpha));
}

template <ByteOrder kOrder>
HWY_INLINE void finishPixels(const simd::MatteFinish& finish, const unsigned char* host, unsigned char* keyed,
                             std::size_t pixels) {
  const bool plain = !finish.clips && !finish.matteView;
  forSpan<std::uint32_t>(0, pixels, [&](auto d, std::size_t i) HWY_ATTR {
    const auto alphaBits = hn::Set(d, 0xFFu << alphaBit(kOrder));
    const auto source = loadPixels(d, host, i);
    // Where the host is opaque, there is nothing to limit.
    if (plain && hn::AllTrue(d, hn::And(source, alphaBits) == alphaBits)) return;
    const auto v = loadPixels(d, keyed, i);
    storePixels(d, finished<kOrder>(d, finish, source, v, alphaOf<kOrder>(d, v)), keyed, i);
  });
}

template <ByteOrder kOrder>
HWY_INLINE void finishPixels(const simd::MatteFinish& finish, const unsigned char* host, const unsigned char* matte,
                             unsigned char* keyed, std::size_t pixels) {
  forSpan<std::uint32_t>(0, pixels, [&](auto d, std::size_t i) HWY_ATTR {
    const auto m = hn::PromoteTo(d, hn::LoadU(hn::Rebind<std::uint8_t, decltype(d)>(), matte + i));
    storePixels(d, finished<kOrder>(d, finish, loadPixels(d, host, i), loadPixels(d, keyed, i), m), keyed, i);
  });
}

}  // namespace

void reorder(unsigned char* pixels, std::size_t count, ByteOrder from, ByteOrder to) {
  const auto move = [](auto d, auto v, int fromBit, int toBit) HWY_ATTR {
    return hn::ShiftLeftSame(hn::And(hn::ShiftRightSame(v, fromBit), hn::Set(d, 0xFFu)), toBit);
  };
  forSpan<std::uint32_t>(0, count, [&](auto d, std::size_t i) HWY_ATTR {
    const auto v = loadPixels(d, pixels, i);
    const auto blueAndGreen = hn::Or(move(d, v, blueBit(from), blueBit(to)), move(d, v, greenBit(from), greenBit(to)));
    const auto redAndAlpha = hn::Or(move(d, v, redBit(from), redBit(to)), move(d, v, alphaBit(from), alphaBit(to)));
    storePixels(d, hn::Or(blueAndGreen, redAndAlpha), pixels, i);
  });
}

void finishKeyed(const simd::MatteFinish& finish, ByteOrder order, const unsigned char* host, unsigned char* keyed,
                 std::size_t pixels) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR { finishPixels<kOrder()>(finish, host, keyed, pixels); });
}

void finishWithMatte(const simd::MatteFinish& finish, ByteOrder order, const unsigned char* host,
                     const unsigned char* matte, unsigned char* keyed, std::size_t pixels) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR { finishPixels<kOrder()>(finish, host, matte, keyed, pixels); });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(reorder);
HWY_EXPORT(finishKeyed);
HWY_EXPORT(finishWithMatte);

void simd::reorder(unsigned char* pixels, std::size_t count, ByteOrder from, ByteOrder to) {
  KALVETRA_VECTOR_FORM(reorder)(pixels, count, from, to);
}

void simd::finishRow(const MatteFinish& finish, ByteOrder order, const unsigned char* host, unsigned char* keyed,
                     std::size_t pixels) {
  KALVETRA_VECTOR_FORM(finishKeyed)(finish, order, host, keyed, pixels);
}

void simd::finishRow(const MatteFinish& finish, ByteOrder order, const unsigned char* host, const unsigned char* matte,
                     unsigned char* keyed, std::size_t pixels) {
  KALVETRA_VECTOR_FORM(finishWithMatte)(finish, order, host, matte, keyed, pixels);
}

}  // namespace kalvetra
#endif
