// The colour-key pass, a vector of pixels at a time.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/color_key.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "engine/simd/color_formulas-inl.h"
#include "engine/simd/keying-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

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
    const ColorCuts c = cut(g_, ExactTurns(), s, hn::FirstN(DF(), hn::Lanes(DF())));
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
