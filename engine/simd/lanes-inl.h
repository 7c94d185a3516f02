// Vectors of the keying passes, the exact and the deep ones: luminances, chromas and pixels, a lane each. Every lane
// repeats the plain form's operations in its order: branches become selections, nothing is fused or approximated.
#if defined(KALVETRA_SIMD_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_LANES_INL_H
#undef KALVETRA_SIMD_LANES_INL_H
#else
#define KALVETRA_SIMD_LANES_INL_H
#endif

#include <hwy/highway.h>

#include <cstdint>

#include "engine/chroma_plane.h"
#include "imaging/simd/byte_order.h"
#include "imaging/simd/spans-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using simd::alphaBit;
using simd::blueBit;
using simd::ByteOrder;
using simd::greenBit;
using simd::redBit;

using DF = hn::ScalableTag<float>;
using DU = hn::Rebind<std::uint32_t, DF>;
using DI = hn::Rebind<std::int32_t, DF>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;
using VI = hn::Vec<DI>;
using MF = hn::Mask<DF>;

HWY_INLINE VF all(float value) { return hn::Set(DF(), value); }
HWY_INLINE VF select(MF mask, VF yes, VF no) { return hn::IfThenElse(mask, yes, no); }
HWY_INLINE bool any(MF mask) { return !hn::AllFalse(DF(), mask); }

struct Chromas {
  VF I, Q;
};
HWY_INLINE Chromas all(Chroma c) { return {all(c.I), all(c.Q)}; }
HWY_INLINE Chromas operator+(Chromas a, Chromas b) { return {a.I + b.I, a.Q + b.Q}; }
HWY_INLINE Chromas operator-(Chromas a, Chromas b) { return {a.I - b.I, a.Q - b.Q}; }
HWY_INLINE Chromas operator*(Chromas a, VF k) { return {a.I * k, a.Q * k}; }
HWY_INLINE Chromas operator/(Chromas a, VF k) { return {a.I / k, a.Q / k}; }
HWY_INLINE VF dot(Chromas a, Chromas b) { return a.I * b.I + a.Q * b.Q; }
HWY_INLINE Chromas mix(Chromas a, Chromas b, VF f) { return a * (all(1.0f) - f) + b * f; }
HWY_INLINE Chromas select(MF mask, Chromas yes, Chromas no) {
  return {select(mask, yes.I, no.I), select(mask, yes.Q, no.Q)};
}

// Luminances and chromas of pixels.
struct Colors {
  VF Y;
  Chromas at;
};

template <int kBit>
HWY_INLINE VF channel(VU pixels) {
  return hn::ConvertTo(DF(), hn::BitCast(DI(), hn::And(hn::ShiftRight<kBit>(pixels), hn::Set(DU(), 0xFF))));
}

HWY_INLINE Colors colorsOf(VF r, VF g, VF b) {
  return {
      r * all(0.299f) + g * all(0.587f) + b * all(0.114f),
      {r * all(0.596f) + g * all(-0.275f) + b * all(-0.321f), r * all(0.212f) + g * all(-0.523f) + b * all(0.311f)}};
}

template <ByteOrder kOrder>
HWY_INLINE Colors colorsOf(VU pixels) {
  const VF b = channel<blueBit(kOrder)>(pixels), g = channel<greenBit(kOrder)>(pixels),
           r = channel<redBit(kOrder)>(pixels);
  return colorsOf(r, g, b);
}

// Back again.
struct Primaries {
  VF r, g, b;
};
HWY_INLINE Primaries primariesOf(const Colors& color) {
  const VF Y = color.Y, I = color.at.I, Q = color.at.Q;
  return {(I * all(0.956f) + Y) + Q * all(0.62f), (I * all(-0.272f) + Y) + Q * all(-0.647f),
          (Y + I * all(-1.108f)) + Q * all(1.705f)};
}

HWY_INLINE VI truncToBytes(VF v) { return truncToBytes(DF(), v); }

template <ByteOrder kOrder>
HWY_INLINE VU pixelsOf(VI b, VI g, VI r, VI a) {
  const VI color = hn::Or(hn::ShiftLeft<blueBit(kOrder)>(b), hn::ShiftLeft<greenBit(kOrder)>(g));
  const VI rest = hn::Or(hn::ShiftLeft<redBit(kOrder)>(r), hn::ShiftLeft<alphaBit(kOrder)>(a));
  return hn::BitCast(DU(), hn::Or(color, rest));
}

template <ByteOrder kOrder>
HWY_INLINE VU opaque(VU pixels) {
  return hn::Or(pixels, hn::Set(DU(), 0xFFu << alphaBit(kOrder)));
}

// CImagingZEP::LinerInter from 0 to 1 over x0..x1 > x0; `slope` is 1 / (x1 - x0). NaN gives 1.
HWY_INLINE VF ramp(VF x, VF x0, VF x1, VF slope) {
  const VF inside = select(x < x1, slope * (x - x0), all(1.0f));
  return hn::IfThenZeroElse(x <= x0, inside);
}
HWY_INLINE VF ramp(VF x, float x0, float x1) { return ramp(x, all(x0), all(x1), all((1.0f - 0.0f) / (x1 - x0))); }

// stretchOpacity. With a limit of 0 every opacity above 0 becomes 1.
struct Stretch {
  explicit HWY_INLINE Stretch(float whiteLimit) : limit(all(whiteLimit)), slope(all(1.0f / whiteLimit)) {}
  HWY_INLINE VF operator()(VF opacity) const {
    const VF inside = select(opacity < limit, hn::Min(slope * opacity, all(1.0f)), all(1.0f));
    return hn::IfThenZeroElse(opacity <= hn::Zero(DF()), inside);
  }
  VF limit, slope;
};

HWY_INLINE VI shaped(VI opacity, const ShadowCurve& curve) {
  if (!curve.active()) return opacity;
  HWY_ALIGN std::int32_t lanes[hn::MaxLanes(DF())];
  hn::Store(opacity, DI(), lanes);
  for (std::size_t i = 0; i < hn::Lanes(DI()); ++i) lanes[i] = curve(static_cast<unsigned char>(lanes[i]));
  return hn::Load(DI(), lanes);
}

// Calls plain(lane) for every lane of the mask and puts its float there.
template <class Plain>
HWY_INLINE VF patched(VF v, MF lanes, Plain plain) {
  HWY_ALIGN float values[hn::MaxLanes(DF())];
  HWY_ALIGN float wanted[hn::MaxLanes(DF())];
  hn::Store(v, DF(), values);
  hn::Store(hn::IfThenElseZero(lanes, all(1.0f)), DF(), wanted);
  for (std::size_t i = 0; i < hn::Lanes(DF()); ++i) {
    if (wanted[i] != 0.0f) values[i] = plain(i);
  }
  return hn::Load(DF(), values);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
