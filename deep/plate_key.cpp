// The chroma-key core on floats.
#include "deep/key_kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/plate_key.cpp"
#include <hwy/foreach_target.h>

#include "cpu/dispatch.h"
#include "deep/keying-inl.h"
#include "engine/simd/plate_formulas-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

namespace {

class PlatePass {
 public:
  static constexpr bool kPlate = true;

  HWY_INLINE PlatePass(const PlateKeyGeometry& g, float offset) : g_(g), offset_(offset), stretch_(g.whiteLimit) {}

  // Without a root or a division: with span = grey - plate and L its length, along is (span . offset) / L^2 and across
  // is (span x offset) / L, so that both can be compared by their numerators. Over a grey plate all is foreground.
  HWY_INLINE QuickKey quick(const Seen& seen) const {
    const VF zero = hn::Zero(DF());
    const Colors pixel = colorsOf(seen.pixel.r, seen.pixel.g, seen.pixel.b), backdrop = backdropAt(seen);
    const Chromas offset = pixel.at - backdrop.at, span = all(g_.grey) - backdrop.at;
    const VF square = dot(span, span), along = dot(span, offset);
    const VF across = span.I * offset.Q - span.Q * offset.I, distance = across * across;
    const MF level = distance < all(100.0f) * square;
    const MF shadow = hn::And(level, along < all(g_.screenGain) * square);
    const MF near = hn::And(distance < all(625.0f) * square, along < square);
    const MF skin = hn::And(across<zero, dot(all(g_.skinBound), pixel.at)> zero);
    const MF blue = hn::AndNot(across<zero, dot(all(g_.blueBound), pixel.at)> zero);
    const MF keyed = hn::And(hn::Or(hn::Or(skin, blue), near), square > zero);
    const MF open = hn::AndNot(shadow, keyed);
    return {shadow, shadowOpacity(stretch_, pixel.Y, backdrop.Y), pixel.Y < backdrop.Y, hn::And(open, level),
            hn::AndNot(level, open)};
  }

  HWY_INLINE Opened geometry(const Seen& seen) const {
    const PlateSight s = look(g_, FloatTurns(), colorsOf(seen.pixel.r, seen.pixel.g, seen.pixel.b), backdropAt(seen));
    const PlateCuts c = cut(g_, FloatTurns(), s, hn::FirstN(DF(), hn::Lanes(DF())));
    return {amountOf(g_, s, c.keyPoint), s.y, s.backdropY, c.despilled};
  }

  HWY_INLINE VF stretched(VF opacity) const { return stretch_(opacity); }

 private:
  HWY_INLINE Colors backdropAt(const Seen& seen) const {
    return backdropOf(colorsOf(seen.plate.r, seen.plate.g, seen.plate.b), offset_);
  }

  const PlateKeyGeometry& g_;
  float offset_;
  Stretch stretch_;
};

}  // namespace

void keyByPlate(const PlateKeyGeometry& geometry, float plateOffset, const Finish& finish, const KeyRows& rows) {
  keyRows(finish, rows, PlatePass(geometry, plateOffset));
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(keyByPlate);

void keyAgainstPlate(const PlateKeyGeometry& geometry, float plateOffset, const Finish& finish, const KeyRows& rows) {
  KALVETRA_ONE_FORM(keyByPlate)(geometry, plateOffset, finish, rows);
}

}  // namespace kalvetra::deep
#endif
