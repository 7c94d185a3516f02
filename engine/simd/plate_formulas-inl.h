// The chroma-key core's formulas on vectors, for the exact key and the deep one. `Turns` has what the two compute in
// different precision: quarter(geometry, axis), and skinDespill(geometry, y, wanted).
#if defined(KALVETRA_SIMD_PLATE_FORMULAS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_PLATE_FORMULAS_INL_H
#undef KALVETRA_SIMD_PLATE_FORMULAS_INL_H
#else
#define KALVETRA_SIMD_PLATE_FORMULAS_INL_H
#endif

#include <hwy/highway.h>

#include "engine/key_geometry.h"
#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// One pixel seen from its plate pixel, as in the plain form.
struct PlateSight {
  VF y, backdropY;
  Chromas at, plate, offset, toGrey;
  VF axisLength;
  Chromas axis;
  VF along, across;
};

// A plate pixel as the key counts it, a little brighter than it is.
HWY_INLINE Colors backdropOf(const Colors& plate, float offset = PlateKeyGeometry::kPlateOffset) {
  return {plate.Y + all(offset), plate.at};
}

template <class Turns>
HWY_INLINE PlateSight look(const PlateKeyGeometry& g, const Turns& turns, const Colors& pixel, const Colors& backdrop) {
  PlateSight s;
  s.y = pixel.Y;
  s.backdropY = backdrop.Y;
  s.at = pixel.at;
  s.plate = backdrop.at;
  s.offset = s.at - s.plate;
  s.toGrey = all(g.grey) - s.at;
  const Chromas span = all(g.grey) - s.plate;
  s.axisLength = hn::Sqrt(dot(span, span));
  s.axis = span / s.axisLength;
  s.along = dot(s.axis, s.offset) / s.axisLength;
  s.across = dot(s.offset, turns.quarter(g, s.axis));
  return s;
}

HWY_INLINE VF shadowOpacity(const Stretch& stretch, VF y, VF backdropY) {
  // Both signs turned round, which no rounding notices.
  return stretch(hn::Max(backdropY - y, hn::Zero(DF())) / (backdropY + all(50.0f)));
}

// `from` moved along `direction` until it meets the line through grey with normal `normal`.
HWY_INLINE Chromas meet(Chromas from, Chromas direction, Chromas normal, Chromas toGrey) {
  return from + direction * dot(normal, toGrey) / dot(normal, direction);
}

// The point that sets the key amount, and the chroma left after despill.
struct PlateCuts {
  Chromas keyPoint, despilled;
};

template <class Turns>
HWY_INLINE PlateCuts cut(const PlateKeyGeometry& g, const Turns& turns, const PlateSight& s, MF wanted) {
  const Chromas nearest = s.at + s.axis * dot(s.axis, s.toGrey);
  const VF a = hn::Abs(s.across);
  const MF outer = hn::And(wanted, a > all(10.0f));
  if (!any(outer)) return {nearest, nearest};

  const VF zero = hn::Zero(DF());
  const MF skinSide = s.across <= zero;
  const Chromas bound = select(skinSide, all(g.skinBound), all(g.blueBound));
  const Chromas skinDespill = turns.skinDespill(g, s.y, hn::And(outer, skinSide));
  const Chromas despillNormal = select(skinSide, skinDespill, all(g.blueDespill));
  const Chromas atBound = meet(s.at, s.axis, bound, s.toGrey);
  const Chromas atDespill = meet(s.at, s.axis, despillNormal, s.toGrey);
  const Chromas throughPixel = meet(s.plate, s.offset, bound, all(g.grey) - s.plate);
  const VF f = all(1.0f) - dot(s.axis, select(skinSide, atBound, atDespill) - s.at) / s.axisLength;
  const Chromas despilled = mix(atBound, throughPixel, f);

  const VF t = ramp(a, 10.0f, 25.0f);
  const MF innerSide = dot(bound, s.at) < zero;
  const Chromas midDespilled =
      select(innerSide, mix(nearest, s.at, t), select(skinSide, despilled, mix(nearest, despilled, t)));
  const MF far = a >= all(25.0f);
  const Chromas keyPoint = select(far, atDespill, mix(nearest, atDespill, t));
  return {select(outer, keyPoint, nearest), select(outer, select(far, despilled, midDespilled), nearest)};
}

// How far the pixel is foreground, and its despilled chroma.
HWY_INLINE VF amountOf(const PlateKeyGeometry& g, const PlateSight& s, Chromas keyPoint) {
  const VF position = all(1.0f) - dot(s.axis, keyPoint - s.at) / s.axisLength;
  return hn::Min(ramp(position, g.screenGain, 1.0f), all(1.0f));
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
