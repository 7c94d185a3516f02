// The colour-key pass's formulas on vectors, for the exact key and the deep one. `Turns` has what the two compute in
// different precision: skinDespill(geometry, y, wanted).
#if defined(KALVETRA_SIMD_COLOR_FORMULAS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_COLOR_FORMULAS_INL_H
#undef KALVETRA_SIMD_COLOR_FORMULAS_INL_H
#else
#define KALVETRA_SIMD_COLOR_FORMULAS_INL_H
#endif

#include <hwy/highway.h>

#include "engine/key_geometry.h"
#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// One pixel seen from the key colour, as in the plain form.
struct ColorSight {
  VF y;
  Chromas at, toKey, toGrey;
  VF along, side;
};

HWY_INLINE ColorSight look(const ColorKeyGeometry& g, const Colors& pixel) {
  ColorSight s;
  s.y = pixel.Y;
  s.at = pixel.at;
  s.toKey = s.at - all(g.key);
  s.toGrey = all(g.grey) - s.at;
  s.along = dot(all(g.axis), s.toKey) / all(g.axisLength);
  s.side = dot(all(g.axisNormal), s.toKey);
  return s;
}

HWY_INLINE MF inRegion(const ColorKeyGeometry& g, const ColorSight& s) {
  const VF zero = hn::Zero(DF());
  const MF skin = hn::And(hn::Lt(s.side, zero), hn::Gt(dot(all(g.skinNormal), s.at), zero));
  const MF blue = hn::And(hn::Ge(s.side, zero), hn::Gt(dot(all(g.blueNormal), s.at), zero));
  const MF near = hn::And(hn::And(s.side > all(-20.0f), s.side < all(20.0f)), s.along < all(1.0f));
  return hn::Or(hn::Or(skin, blue), near);
}

HWY_INLINE VF shadowOpacity(const ColorKeyGeometry& g, const Stretch& stretch, VF y) {
  const VF keyY = all(g.keyY);
  return stretch(hn::IfThenElseZero(y < keyY, (y - keyY) / all(-50.0f - g.keyY)));
}

HWY_INLINE Chromas alongAxis(const ColorKeyGeometry& g, const ColorSight& s, Chromas m) {
  return s.at + all(g.axis) * (dot(m, s.toGrey) / dot(m, all(g.axis)));
}

HWY_INLINE Chromas throughPixel(const ColorKeyGeometry& g, const ColorSight& s, Chromas m) {
  return all(g.key) + s.toKey * (dot(m, all(g.keyToGrey)) / dot(m, s.toKey));
}

HWY_INLINE VF depth(const ColorKeyGeometry& g, const ColorSight& s, Chromas point) {
  return all(1.0f) - dot(all(g.axis), point - s.at) / all(g.axisLength);
}

// Where the line along the axis is cut, which sets the opacity, and the chroma left after despill.
struct ColorCuts {
  Chromas boundary, despilled;
};

// What both sides have in common, for the side's hue normal and despill normal. `skinSide` picks what differs: where
// the despill weight is measured, whether the middle band fades it, and the despill nearest to the axis.
template <class Turns>
HWY_INLINE ColorCuts cut(const ColorKeyGeometry& g, const Turns& turns, const ColorSight& s, MF wanted) {
  const VF zero = hn::Zero(DF());
  const MF skinSide = s.side <= zero;
  const Chromas hue = select(skinSide, all(g.skinNormal), all(g.blueNormal));
  const Chromas nearest = s.at + all(g.axis) * dot(all(g.axis), s.toGrey);
  const Chromas atHue = alongAxis(g, s, hue);
  const VF a = hn::Abs(s.side);
  const Chromas innermost = select(skinSide, atHue, nearest);
  const MF outer = hn::And(wanted, hn::Not(a <= all(5.0f)));
  if (!any(outer)) return {nearest, innermost};

  const Chromas skinDespill = turns.skinDespill(g, s.y, hn::And(outer, skinSide));
  const Chromas turnedPoint = alongAxis(g, s, select(skinSide, skinDespill, all(g.blueDespill)));
  const VF f = ramp(a, 5.0f, 20.0f);
  const MF middle = a < all(20.0f);
  const Chromas boundary = select(middle, mix(nearest, turnedPoint, f), turnedPoint);
  const VF weight = depth(g, s, select(skinSide, atHue, turnedPoint));
  const Chromas despilled = mix(atHue, throughPixel(g, s, hue), weight);
  const Chromas faded = select(hn::AndNot(skinSide, middle), mix(nearest, despilled, f), despilled);
  const MF innerSide = hn::And(middle, dot(hue, s.at) < zero);
  const Chromas outerDespilled = select(innerSide, mix(nearest, s.at, f), faded);
  return {select(outer, boundary, nearest), select(outer, outerDespilled, innermost)};
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
