// The colour-key pass, a vector of pixels at a time.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/color_key.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "engine/simd/keying-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

// As in the plain form.
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

template <ByteOrder kOrder>
HWY_INLINE VU shadowPixels(VF alpha, MF darker, const ShadowCurve& curve) {
  const DI di;
  const VF level = alpha * all(255.0f);
  const VI opacity = shaped(truncToBytes(level), curve);
  // Without the curve, the level counts before it is truncated.
  const auto stays = curve.active() ? opacity > hn::Zero(di) : hn::RebindMask(di, level > hn::Zero(DF()));
  const VI shade = hn::IfThenZeroElse(hn::And(stays, hn::RebindMask(di, darker)), hn::Set(di, 160));
  return pixelsOf<kOrder>(shade, shade, shade, opacity);
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

struct Cuts {
  Chromas boundary, despilled;
};

// What both sides have in common, for the side's hue normal and despill normal. `skinSide` picks what differs: where
// the despill weight is measured, whether the middle band fades it, and the despill nearest to the axis.
HWY_INLINE Cuts cut(const ColorKeyGeometry& g, const ColorSight& s, MF wanted) {
  const VF zero = hn::Zero(DF());
  const MF skinSide = s.side <= zero;
  const Chromas hue = select(skinSide, all(g.skinNormal), all(g.blueNormal));
  const Chromas nearest = s.at + all(g.axis) * dot(all(g.axis), s.toGrey);
  const Chromas atHue = alongAxis(g, s, hue);
  const VF a = hn::Abs(s.side);
  const Chromas innermost = select(skinSide, atHue, nearest);
  const MF outer = hn::And(wanted, hn::Not(a <= all(5.0f)));
  if (!any(outer)) return {nearest, innermost};

  const Chromas skinDespill = skinDespillAt(g, s.y, hn::And(outer, skinSide));
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

template <ByteOrder kOrder>
class ColorPass {
 public:
  explicit HWY_INLINE ColorPass(const ColorKeyGeometry& geometry)
      : g_(geometry), stretch_(geometry.whiteLimit), logs_(logsOf(all(geometry.keyY))) {}

  HWY_INLINE void begin(const simd::KeyRows&, std::size_t) {}

  // All but the far pixels of the region.
  HWY_INLINE QuickKey quick(const std::array<VU, 1>& pixels, std::size_t) const {
    const DU du;
    const ColorSight s = look(g_, colorsOf<kOrder>(pixels[0]));
    const MF region = inRegion(g_, s);
    const MF level = hn::And(s.side > all(-5.0f), s.side < all(5.0f));
    const MF near = hn::And(region, hn::And(level, s.along < all(g_.screenGain)));
    VU result = opaque<kOrder>(pixels[0]);
    if (any(near)) {
      const VU shadow = shadowPixels<kOrder>(shadowOpacity(g_, stretch_, s.y), s.y < all(g_.keyY), g_.curve);
      result = hn::IfThenElse(hn::RebindMask(du, near), shadow, result);
    }
    const MF far = hn::AndNot(near, region);
    const MF inner = hn::Abs(s.side) <= all(5.0f);
    return {result, hn::RebindMask(du, hn::And(far, inner)), hn::RebindMask(du, hn::AndNot(inner, far))};
  }

  HWY_INLINE Geometry geometry(const std::array<VU, 1>& pixels) const {
    const ColorSight s = look(g_, colorsOf<kOrder>(pixels[0]));
    const Cuts c = cut(g_, s, hn::FirstN(DF(), hn::Lanes(DF())));
    return {hn::Zero(DU()), ramp(depth(g_, s, c.boundary), g_.screenGain, 1.0f), s.y, all(g_.keyY), c.despilled};
  }

  HWY_INLINE Logs logs(VF) const { return logs_; }

  HWY_INLINE VU keyed(VF opacity, VF y, VF luminance, Chromas despilled) const {
    const VF alpha = stretch_(opacity);
    return keyedPixels<kOrder>(keyedColors(alpha, y, luminance, despilled), alpha, g_.curve);
  }

 private:
  const ColorKeyGeometry& g_;
  Stretch stretch_;
  Logs logs_;
};

}  // namespace

void keyAgainstColor(const ColorKeyGeometry& geometry, ByteOrder order, const simd::KeyRows& rows) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR {
    ColorPass<kOrder()> pass(geometry);
    keyRows<1>(rows, pass);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(keyAgainstColor);

void simd::keyAgainstColor(const ColorKeyGeometry& geometry, ByteOrder order, const KeyRows& rows) {
  KALVETRA_VECTOR_FORM(keyAgainstColor)(geometry, order, rows);
}

}  // namespace kalvetra
#endif
