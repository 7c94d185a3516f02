// The chroma-key core, a vector of pixels at a time.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/plate_key.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>

#include "cpu/dispatch.h"
#include "engine/simd/keying-inl.h"
#include "engine/simd/plate_formulas-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

HWY_INLINE MF isKeyed(const PlateKeyGeometry& g, const PlateSight& s) {
  const VF zero = hn::Zero(DF());
  const MF skin = hn::And(hn::Lt(s.across, zero), hn::Gt(dot(all(g.skinBound), s.at), zero));
  const MF blue = hn::And(hn::Ge(s.across, zero), hn::Gt(dot(all(g.blueBound), s.at), zero));
  const MF near = hn::And(hn::And(s.across > all(-25.0f), s.across < all(25.0f)), s.along < all(1.0f));
  return hn::Or(hn::Or(skin, blue), near);
}

template <ByteOrder kOrder>
HWY_INLINE VU shadowPixels(VF alpha, MF darker, const ShadowCurve& curve) {
  const DI di;
  const VI opacity = shaped(truncInRange(DF(), alpha * all(255.0f)), curve);
  const auto black = hn::AndNot(opacity == hn::Zero(di), hn::RebindMask(di, darker));
  const VI shade = hn::IfThenZeroElse(black, hn::Set(di, 160));
  return pixelsOf<kOrder>(shade, shade, shade, opacity);
}

template <ByteOrder kOrder>
class PlatePass {
 public:
  HWY_INLINE PlatePass(const PlateKeyGeometry& g, simd::PlateColors& known)
      : g_(g),
        known_(known),
        grey_(all(g.grey)),
        skinBound_(all(g.skinBound)),
        blueBound_(all(g.blueBound)),
        gain_(all(std::min(g.screenGain, 1.0f) * kLess)),
        stretch_(g.whiteLimit) {}

  // The plate's colours, which follow from the plate alone: made again only for the vectors in which a row differs from
  // the one before.
  HWY_INLINE void begin(const simd::KeyRows& rows, std::size_t row) {
    const DU du;
    const unsigned char* plate = rows.plate[row];
    std::size_t x = 0;
    for (; x + hn::Lanes(du) <= rows.pixels; x += hn::Lanes(du)) follow(loadPixels(du, plate, x), x);
    if (x < rows.pixels) {
      HWY_ALIGN std::uint32_t last[hn::MaxLanes(DU())] = {};
      std::memcpy(last, plate + x * 4, (rows.pixels - x) * 4);
      follow(hn::Load(du, last), x);
    }
    known_.filled = true;
  }

  // Settles the pixels that are foreground or shadow beyond doubt, without a root or a division of the geometry. With
  // span = grey - plate and L its length, along is (span . offset) / L^2 and across is (span x offset) / L, so that
  // both can be compared by their numerators. These and the full geometry's own are off by some 2^-21 of the sum of all
  // four products' magnitudes: all four, since the quarter turn, short of 90 degrees by 2^-24, brings the products of
  // along into across. 2^-16 on either side leaves no doubt.
  HWY_INLINE QuickKey quick(const std::array<VU, 2>& pixels, std::size_t at) const {
    const DU du;
    const DF df;
    const Colors pixel = colorsOf<kOrder>(pixels[0]);
    const Chromas plate{hn::LoadU(df, known_.I.data() + at), hn::LoadU(df, known_.Q.data() + at)};
    const Chromas offset = pixel.at - plate, span = grey_ - plate;
    const VF square = dot(span, span);
    const VF ii = span.I * offset.I, qq = span.Q * offset.Q, iq = span.I * offset.Q, qi = span.Q * offset.I;
    const VF doubt = all(0x1p-16f) * (hn::Abs(ii) + hn::Abs(qq) + (hn::Abs(iq) + hn::Abs(qi)));
    const VF along = ii + qq, across = iq - qi;
    const VF distance = hn::Abs(across), farthest = distance + doubt;
    const MF shadow = hn::And(farthest * farthest < all(100.0f * kLess) * square, along + doubt < gain_ * square);

    VU result = opaque<kOrder>(pixels[0]);
    if (any(shadow)) {
      const VU keyed = keyShadow(pixel.Y, hn::LoadU(df, known_.y.data() + at));
      if (hn::AllTrue(df, shadow)) return {keyed, hn::FirstN(du, 0), hn::FirstN(du, 0)};
      result = hn::IfThenElse(hn::RebindMask(du, shadow), keyed, result);
    }
    const VF zero = hn::Zero(df);
    const MF outside = hn::Or(hn::AndNot(hn::Gt(dot(skinBound_, pixel.at), zero), hn::Lt(across, zero - doubt)),
                              hn::AndNot(hn::Gt(dot(blueBound_, pixel.at), zero), hn::Gt(across, doubt)));
    const VF nearest = hn::Max(distance - doubt, zero);
    const MF away = hn::Or(nearest * nearest > all(625.0f * kMore) * square, along - doubt > all(kMore) * square);
    const MF open = hn::Not(hn::Or(shadow, hn::And(outside, away)));
    const MF near = distance * distance < all(100.0f) * square;
    return {result, hn::RebindMask(du, hn::And(open, near)), hn::RebindMask(du, hn::AndNot(near, open))};
  }

  HWY_INLINE Geometry geometry(const std::array<VU, 2>& pixels) const {
    const DU du;
    const PlateSight s = look(g_, ExactTurns(), colorsOf<kOrder>(pixels[0]), backdropOf(colorsOf<kOrder>(pixels[1])));
    const MF keyed = isKeyed(g_, s);
    const MF level = hn::And(s.across > all(-10.0f), s.across < all(10.0f));
    const MF shadow = hn::And(keyed, hn::And(level, s.along < all(g_.screenGain)));
    const MF despill = hn::AndNot(shadow, keyed);
    VU settled = opaque<kOrder>(pixels[0]);
    if (any(shadow)) {
      settled = hn::IfThenElse(hn::RebindMask(du, shadow), keyShadow(s.y, s.backdropY), settled);
    }
    const PlateCuts c = cut(g_, ExactTurns(), s, despill);
    return {settled, select(despill, amountOf(g_, s, c.keyPoint), all(-1.0f)), s.y, s.backdropY, c.despilled};
  }

  HWY_INLINE Logs logs(VF backdropY) const { return logsOf(backdropY); }

  HWY_INLINE VU keyed(VF opacity, VF y, VF luminance, Chromas despilled) const {
    const VF alpha = stretch_(opacity);
    return keyedPixels<kOrder>(keyedColors(alpha, y, luminance, despilled), alpha, g_.curve);
  }

 private:
  static constexpr float kMore = 1.0f + 0x1p-16f, kLess = 1.0f - 0x1p-16f;

  HWY_INLINE VU keyShadow(VF y, VF backdropY) const {
    return shadowPixels<kOrder>(shadowOpacity(stretch_, y, backdropY), y < backdropY, g_.curve);
  }

  HWY_INLINE void follow(VU plate, std::size_t x) {
    const DU du;
    const DF df;
    if (known_.filled && hn::AllTrue(du, plate == hn::LoadU(du, known_.row.data() + x))) return;
    const Colors c = backdropOf(colorsOf<kOrder>(plate));
    hn::StoreU(plate, du, known_.row.data() + x);
    hn::StoreU(c.Y, df, known_.y.data() + x);
    hn::StoreU(c.at.I, df, known_.I.data() + x);
    hn::StoreU(c.at.Q, df, known_.Q.data() + x);
  }

  const PlateKeyGeometry& g_;
  simd::PlateColors& known_;
  Chromas grey_, skinBound_, blueBound_;
  VF gain_;  // a little less than the screen gain
  Stretch stretch_;
};

}  // namespace

void keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const simd::KeyRows& rows,
                     simd::PlateColors& known) {
  simd::inOrder(order, [&](auto kOrder) HWY_ATTR {
    PlatePass<kOrder()> pass(geometry, known);
    keyRows<2>(rows, pass);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(keyAgainstPlate);

void simd::keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const KeyRows& rows, PlateColors& known) {
  KALVETRA_VECTOR_FORM(keyAgainstPlate)(geometry, order, rows, known);
}

}  // namespace kalvetra
#endif
