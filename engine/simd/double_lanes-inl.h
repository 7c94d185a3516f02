// Vectors of double precision, for what the plain forms compute in it. Not on WebAssembly, whose vectors lack it.
#if defined(KALVETRA_SIMD_DOUBLE_LANES_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_DOUBLE_LANES_INL_H
#undef KALVETRA_SIMD_DOUBLE_LANES_INL_H
#else
#define KALVETRA_SIMD_DOUBLE_LANES_INL_H
#endif

#include <hwy/highway.h>

#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

using DHalf = hn::Half<DF>;
using DD = hn::Rebind<double, DHalf>;
using VD = hn::Vec<DD>;

HWY_INLINE VD widenLower(VF v) { return hn::PromoteTo(DD(), hn::LowerHalf(DHalf(), v)); }
HWY_INLINE VD widenUpper(VF v) { return hn::PromoteTo(DD(), hn::UpperHalf(DHalf(), v)); }
HWY_INLINE VF narrowed(VD lower, VD upper) {
  return hn::Combine(DF(), hn::DemoteTo(DHalf(), upper), hn::DemoteTo(DHalf(), lower));
}

// The turn about the origin, in double precision as the plain form does it.
HWY_INLINE Chromas turned(Chromas a, const Rotation& by) {
  const VD cosine = hn::Set(DD(), by.cosine()), sine = hn::Set(DD(), by.sine());
  const VD i0 = widenLower(a.I), i1 = widenUpper(a.I), q0 = widenLower(a.Q), q1 = widenUpper(a.Q);
  return {narrowed(i0 * cosine - q0 * sine, i1 * cosine - q1 * sine),
          narrowed(i0 * sine + q0 * cosine, i1 * sine + q1 * cosine)};
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
