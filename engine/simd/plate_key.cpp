// The chroma-key core, a vector of pixels at a time.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/plate_key.cpp"
#include <hwy/foreach_target.h>

#include "engine/simd/keying-inl.h"
#include "imaging/simd/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

// As in the plain form.
struct PlateSight {
  VF y, backdropY;
  Chromas at, plate, offset, toGrey;
  VF axisLength;
  Chromas axis;
  VF along, across;
};

template <ByteOrder kOrder>
HWY_INLINE PlateSight look(const PlateKeyGeometry& g, VU source, VU plate) {
  const Colors pixel = colorsOf<kOrder>(source), backdrop = colorsOf<kOrder>(plate);
  PlateSight s;
  s.y = pixel.Y;
  s.backdropY = backdrop.Y + all(PlateKeyGeometry::kPlateOffset);
  s.at = pixel.at;
  s.plate = backdrop.at;
  s.offset = s.at - s.plate;
  s.toGrey = all(g.grey) - s.at;
  const Chromas span = all(g.grey) - s.plate;
  s.axisLength = hn::Sqrt(dot(span, span));
  s.axis = span / s.axisLength;
  s.along = dot(s.axis, s.offset) / s.axisLength;
  s.across = dot(s.offset, turned(s.axis, g.quarter));
  return s;
}

HWY_INLINE MF isKeyed(const PlateKeyGeometry& g, const PlateSight& s) {
  const VF zero = hn::Zero(DF());
  const MF skin = hn::And(s.across<zero, dot(all(g.skinBound), s.at)> zero);
  const MF blue = hn::And(s.across >= zero, dot(all(g.blueBound), s.at) > zero);
  const MF near = hn::And(hn::And(s.across > all(-25.0f), s.across < all(25.0f)), s.along < all(1.0f));
  return hn::Or(hn::Or(skin, blue), near);
}

template <ByteOrder kOrder>
HWY_INLINE VU keyShadow(const PlateKeyGeometry& g, VF y, VF backdropY) {
  const DI di;
  const MF darker = y < backdropY;
  const VF depth = (y - backdropY) / (all(-50.0f) - backdropY);
  const VF alpha = stretched(hn::IfThenElseZero(darker, depth), g.whiteLimit);
  const VI opacity = shaped(truncToBytes(alpha * all(255.0f)), g.curve);
  const auto black = hn::AndNot(opacity == hn::Zero(di), hn::RebindMask(di, darker));
  const VI shade = hn::IfThenZeroElse(black, hn::Set(di, 160));
  return pixelsOf<kOrder>(shade, shade, shade, opacity);
}

// `from` moved along `direction` until it meets the line through grey with normal `normal`.
HWY_INLINE Chromas meet(Chromas from, Chromas direction, Chromas normal, Chromas toGrey) {
  return from + direction * dot(normal, toGrey) / dot(normal, direction);
}

struct Cuts {
  Chromas keyPoint, despilled;
};

HWY_INLINE Cuts cut(const PlateKeyGeometry& g, const PlateSight& s, MF wanted) {
  const Chromas nearest = s.at + s.axis * dot(s.axis, s.toGrey);
  const VF a = hn::Abs(s.across);
  const MF outer = hn::And(wanted, a > all(10.0f));
  if (!any(outer)) return {nearest, nearest};

  const VF zero = hn::Zero(DF());
  const MF skinSide = s.across <= zero;
  const Chromas bound = select(skinSide, all(g.skinBound), all(g.blueBound));
  const Chromas skinDespill = skinDespillAt(g, s.y, hn::And(outer, skinSide));
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

template <ByteOrder kOrder>
HWY_INLINE VU keyDespilled(const PlateKeyGeometry& g, const PlateSight& s, MF wanted) {
  const Cuts c = cut(g, s, wanted);
  const VF position = all(1.0f) - dot(s.axis, c.keyPoint - s.at) / s.axisLength;
  const VF amount = hn::Min(ramp(position, g.screenGain, 1.0f), all(1.0f));
  const UnmixedLanes u = unmixed(s.y, s.backdropY, amount, wanted);
  return keyedPixels<kOrder>(stretched(u.opacity, g.whiteLimit), s.y, u.luminance, c.despilled, g.curve);
}

template <ByteOrder kOrder>
HWY_INLINE VU keyFully(const PlateKeyGeometry& g, VU source, VU plate) {
  const DU du;
  const VU foreground = opaque<kOrder>(source);
  const PlateSight s = look<kOrder>(g, source, plate);
  const MF keyed = isKeyed(g, s);
  const MF level = hn::And(s.across > all(-10.0f), s.across < all(10.0f));
  const MF shadow = hn::And(keyed, hn::And(level, s.along < all(g.screenGain)));
  const MF despill = hn::AndNot(shadow, keyed);
  VU result = foreground;
  if (any(shadow)) result = hn::IfThenElse(hn::RebindMask(du, shadow), keyShadow<kOrder>(g, s.y, s.backdropY), result);
  if (any(despill)) result = hn::IfThenElse(hn::RebindMask(du, despill), keyDespilled<kOrder>(g, s, despill), result);
  return result;
}

// Settles the pixels that are foreground or shadow beyond doubt, without a root or a division of the geometry. With
// span = grey - plate and L its length, along is (span . offset) / L^2 and across is (span x offset) / L, so that both
// can be compared by their numerators. These and the full look's own are off by some 2^-21 of the sums of their
// products' magnitudes, which the quarter turn's last bits are part of; 2^-16 on either side leaves no doubt.
template <ByteOrder kOrder>
HWY_INLINE QuickKey keyQuickly(const PlateKeyGeometry& g, VU source, VU plate) {
  const DU du;
  const VF doubt = all(0x1p-16f), more = all(1.0f + 0x1p-16f), less = all(1.0f - 0x1p-16f);
  const Colors pixel = colorsOf<kOrder>(source), backdrop = colorsOf<kOrder>(plate);
  const Chromas offset = pixel.at - backdrop.at, span = all(g.grey) - backdrop.at;
  const VF square = dot(span, span);
  const VF ii = span.I * offset.I, qq = span.Q * offset.Q, iq = span.I * offset.Q, qi = span.Q * offset.I;
  const VF along = ii + qq, alongDoubt = doubt * (hn::Abs(ii) + hn::Abs(qq));
  const VF across = iq - qi, acrossDoubt = doubt * (hn::Abs(iq) + hn::Abs(qi));
  const VF distance = hn::Abs(across), farthest = distance + acrossDoubt;

  const MF shadow = hn::And(farthest * farthest < all(100.0f) * less * square,
                            along + alongDoubt < all(g.screenGain) * less * square);
  const VF zero = hn::Zero(DF());
  const MF outside = hn::Or(hn::AndNot(dot(all(g.skinBound), pixel.at) > zero, across < zero - acrossDoubt),
                            hn::AndNot(dot(all(g.blueBound), pixel.at) > zero, across > acrossDoubt));
  const VF nearest = hn::Max(distance - acrossDoubt, zero);
  const MF away = hn::Or(nearest * nearest > all(625.0f) * more * square, along - alongDoubt > more * square);
  const MF foreground = hn::And(outside, away);

  VU result = opaque<kOrder>(source);
  if (any(shadow)) {
    const VF backdropY = backdrop.Y + all(PlateKeyGeometry::kPlateOffset);
    result = hn::IfThenElse(hn::RebindMask(du, shadow), keyShadow<kOrder>(g, pixel.Y, backdropY), result);
  }
  return {result, hn::RebindMask(du, hn::Not(hn::Or(shadow, foreground)))};
}

template <ByteOrder kOrder>
HWY_INLINE void keyRow(const PlateKeyGeometry& geometry, const unsigned char* source, const unsigned char* plate,
                       unsigned char* result, std::size_t pixels) {
  keyPixels<2>(
      {source, plate}, result, pixels, [&](const auto& p) HWY_ATTR { return keyQuickly<kOrder>(geometry, p[0], p[1]); },
      [&](const auto& p) HWY_ATTR { return keyFully<kOrder>(geometry, p[0], p[1]); });
}

}  // namespace

void keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const unsigned char* source,
                     const unsigned char* plate, unsigned char* result, std::size_t pixels) {
  if (order == ByteOrder::Working) {
    keyRow<ByteOrder::Working>(geometry, source, plate, result, pixels);
  } else {
    keyRow<ByteOrder::Host>(geometry, source, plate, result, pixels);
  }
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(keyAgainstPlate);

void simd::keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const unsigned char* source,
                           const unsigned char* plate, unsigned char* result, std::size_t pixels) {
  KALVETRA_VECTOR_FORM(keyAgainstPlate)(geometry, order, source, plate, result, pixels);
}

}  // namespace kalvetra
#endif
