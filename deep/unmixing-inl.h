// The key's turns and powers in single precision.
#if defined(KALVETRA_DEEP_UNMIXING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_DEEP_UNMIXING_INL_H
#undef KALVETRA_DEEP_UNMIXING_INL_H
#else
#define KALVETRA_DEEP_UNMIXING_INL_H
#endif

#include <hwy/highway.h>

#include "deep/maths-inl.h"
#include "engine/key_geometry.h"
#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

// The turns of the exact key's formulas.
struct FloatTurns {
  HWY_INLINE Chromas quarter(const PlateKeyGeometry&, Chromas axis) const { return {hn::Neg(axis.Q), axis.I}; }

  // skinDespillAt: turned by up to -30 degrees as the luminance goes from 200 to 255. The series leave 2^-30.
  template <class Geometry>
  HWY_INLINE Chromas skinDespill(const Geometry& g, VF y, MF) const {
    const VF angle = ramp(y, 200.0f, 255.0f) * all(-0.523598776f), square = angle * angle;
    VF sine = all(1.0f / 362880.0f), cosine = all(1.0f / 40320.0f);
    for (const float term : {-1.0f / 5040.0f, 1.0f / 120.0f, -1.0f / 6.0f, 1.0f}) sine = sine * square + all(term);
    for (const float term : {-1.0f / 720.0f, 1.0f / 24.0f, -0.5f, 1.0f}) cosine = cosine * square + all(term);
    sine = sine * angle;
    const VF i = all(g.skinDespill.I), q = all(g.skinDespill.Q);
    return {i * cosine - q * sine, i * sine + q * cosine};
  }
};

struct UnmixedLanes {
  VF luminance, opacity;
};

// unmixLuminance. The luminance is kept within -50..370, or farther out up to the pixel's own. Backdrops of -99 and
// less count as -99 in the power: offset by 100, it has to be above 0. Below the backdrop the foreground's distance
// from it is computed as such, (p / b)^(1/amount) - 1 times b, so that it stays exact to some digits however small.
HWY_INLINE UnmixedLanes unmixed(VF y, VF backdropY, VF amount) {
  const VF zero = hn::Zero(DF());
  const VF distance = y - backdropY, inverse = all(1.0f) / amount;
  const VF base = most(backdropY + all(100.0f), all(1.0f));
  const VF power = base * exp2m1(inverse * log2p1(distance / base));
  const VF below = select(amount == all(1.0f), distance, power);  // opaque to the last bit
  const VF darkest = least(y, all(-50.0f)) - backdropY, brightest = most(y, all(370.0f)) - backdropY;
  const MF darker = distance < zero;
  const VF target = select(darker, most(below, darkest), least(distance * inverse, brightest));
  const MF same = distance == zero;
  return {backdropY + hn::IfThenZeroElse(same, target),
          select(darker, distance / target, hn::IfThenElseZero(amount > zero, amount))};
}

// A power above 0 of opacities 0..1.
HWY_INLINE VF shaped(VF opacity, float exponent) {
  if (exponent == 1.0f) return opacity;
  return hn::IfThenElseZero(opacity > hn::Zero(DF()), exp2(all(exponent) * log2(opacity)));
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
