// The colour-key pass on floats.
#include "deep/key_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/color_key.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "deep/keying-inl.h"
#include "engine/simd/color_formulas-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

namespace {

class ColorPass {
 public:
  static constexpr bool kPlate = false;

  explicit HWY_INLINE ColorPass(const ColorKeyGeometry& g) : g_(g), stretch_(g.whiteLimit) {}

  HWY_INLINE QuickKey quick(const Seen& seen) const {
    const ColorSight s = sightOf(seen);
    const MF region = inRegion(g_, s);
    const MF level = hn::And(s.side > all(-5.0f), s.side < all(5.0f));
    const MF shadow = hn::And(region, hn::And(level, s.along < all(g_.screenGain)));
    const MF open = hn::AndNot(shadow, region);
    return {shadow, shadowOpacity(g_, stretch_, s.y), s.y < all(g_.keyY), hn::And(open, level),
            hn::AndNot(level, open)};
  }

  HWY_INLINE Opened geometry(const Seen& seen) const {
    const ColorSight s = sightOf(seen);
    const ColorCuts c = cut(g_, FloatTurns(), s, hn::FirstN(DF(), hn::Lanes(DF())));
    return {ramp(depth(g_, s, c.boundary), g_.screenGain, 1.0f), s.y, all(g_.keyY), c.despilled};
  }

  HWY_INLINE VF stretched(VF opacity) const { return stretch_(opacity); }

 private:
  HWY_INLINE ColorSight sightOf(const Seen& seen) const {
    return look(g_, colorsOf(seen.pixel.r, seen.pixel.g, seen.pixel.b));
  }

  const ColorKeyGeometry& g_;
  Stretch stretch_;
};

}  // namespace

void keyByColor(const ColorKeyGeometry& geometry, const Finish& finish, const KeyRows& rows) {
  keyRows(finish, rows, ColorPass(geometry));
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(keyByColor);

void keyAgainstColor(const ColorKeyGeometry& geometry, const Finish& finish, const KeyRows& rows) {
  KALVETRA_ONE_FORM(keyByColor)(geometry, finish, rows);
}

}  // namespace kalvetra::deep
#endif
