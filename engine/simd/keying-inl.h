// What the vector forms of the two keying passes share. Every lane repeats the plain form's operations in its order:
// branches become selections, nothing is fused or approximated. Where library maths is needed (pow, cos, sin), a lane
// whose last bit is not certain is handed to the plain form.
#if defined(KALVETRA_SIMD_KEYING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_KEYING_INL_H
#undef KALVETRA_SIMD_KEYING_INL_H
#else
#define KALVETRA_SIMD_KEYING_INL_H
#endif

#include <hwy/contrib/math/math-inl.h>
#include <hwy/highway.h>

#include <array>
#include <cstdint>
#include <cstring>

#include "engine/chroma_plane.h"
#include "imaging/simd/byte_order.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using simd::alphaBit;
using simd::blueBit;
using simd::ByteOrder;
using simd::greenBit;
using simd::redBit;

using DF = hn::ScalableTag<float>;
using DU = hn::Rebind<std::uint32_t, DF>;
using DI = hn::Rebind<std::int32_t, DF>;
using DHalf = hn::Half<DF>;
using DD = hn::Rebind<double, DHalf>;
using VF = hn::Vec<DF>;
using VU = hn::Vec<DU>;
using VI = hn::Vec<DI>;
using VD = hn::Vec<DD>;
using MF = hn::Mask<DF>;

HWY_INLINE VF all(float value) { return hn::Set(DF(), value); }
HWY_INLINE VF select(MF mask, VF yes, VF no) { return hn::IfThenElse(mask, yes, no); }
HWY_INLINE bool any(MF mask) { return !hn::AllFalse(DF(), mask); }

struct Chromas {
  VF I, Q;
};
HWY_INLINE Chromas all(Chroma c) { return {all(c.I), all(c.Q)}; }
HWY_INLINE Chromas operator+(Chromas a, Chromas b) { return {a.I + b.I, a.Q + b.Q}; }
HWY_INLINE Chromas operator-(Chromas a, Chromas b) { return {a.I - b.I, a.Q - b.Q}; }
HWY_INLINE Chromas operator*(Chromas a, VF k) { return {a.I * k, a.Q * k}; }
HWY_INLINE Chromas operator/(Chromas a, VF k) { return {a.I / k, a.Q / k}; }
HWY_INLINE VF dot(Chromas a, Chromas b) { return a.I * b.I + a.Q * b.Q; }
HWY_INLINE Chromas mix(Chromas a, Chromas b, VF f) { return a * (all(1.0f) - f) + b * f; }
HWY_INLINE Chromas select(MF mask, Chromas yes, Chromas no) {
  return {select(mask, yes.I, no.I), select(mask, yes.Q, no.Q)};
}

// Luminances and chromas of pixels.
struct Colors {
  VF Y;
  Chromas at;
};

template <int kBit>
HWY_INLINE VF channel(VU pixels) {
  return hn::ConvertTo(DF(), hn::BitCast(DI(), hn::And(hn::ShiftRight<kBit>(pixels), hn::Set(DU(), 0xFF))));
}

template <ByteOrder kOrder>
HWY_INLINE Colors colorsOf(VU pixels) {
  const VF b = channel<blueBit(kOrder)>(pixels), g = channel<greenBit(kOrder)>(pixels),
           r = channel<redBit(kOrder)>(pixels);
  return {
      r * all(0.299f) + g * all(0.587f) + b * all(0.114f),
      {r * all(0.596f) + g * all(-0.275f) + b * all(-0.321f), r * all(0.212f) + g * all(-0.523f) + b * all(0.311f)}};
}

// Truncated and clamped to 0..255; NaN gives 0.
HWY_INLINE VI truncToBytes(VF v) {
  const VF positive = hn::IfThenElseZero(v > hn::Zero(DF()), v);
  return hn::ConvertTo(DI(), hn::Min(positive, all(255.0f)));
}

template <ByteOrder kOrder>
HWY_INLINE VU pixelsOf(VI b, VI g, VI r, VI a) {
  const VI color = hn::Or(hn::ShiftLeft<blueBit(kOrder)>(b), hn::ShiftLeft<greenBit(kOrder)>(g));
  const VI rest = hn::Or(hn::ShiftLeft<redBit(kOrder)>(r), hn::ShiftLeft<alphaBit(kOrder)>(a));
  return hn::BitCast(DU(), hn::Or(color, rest));
}

template <ByteOrder kOrder>
HWY_INLINE VU opaque(VU pixels) {
  return hn::Or(pixels, hn::Set(DU(), 0xFFu << alphaBit(kOrder)));
}

// CImagingZEP::LinerInter from 0 to 1 over x0..x1 > x0; `slope` is 1 / (x1 - x0). NaN gives 1.
HWY_INLINE VF ramp(VF x, VF x0, VF x1, VF slope) {
  const VF inside = select(x < x1, slope * (x - x0), all(1.0f));
  return hn::IfThenZeroElse(x <= x0, inside);
}
HWY_INLINE VF ramp(VF x, float x0, float x1) { return ramp(x, all(x0), all(x1), all((1.0f - 0.0f) / (x1 - x0))); }

// stretchOpacity. With a limit of 0 every opacity above 0 becomes 1.
HWY_INLINE VF stretched(VF opacity, float whiteLimit) {
  const VF limit = all(whiteLimit);
  return hn::Min(ramp(opacity, hn::Zero(DF()), limit, all(1.0f / whiteLimit)), all(1.0f));
}

HWY_INLINE VI shaped(VI opacity, const ShadowCurve& curve) {
  if (!curve.active()) return opacity;
  HWY_ALIGN std::int32_t lanes[hn::MaxLanes(DF())];
  hn::Store(opacity, DI(), lanes);
  for (std::size_t i = 0; i < hn::Lanes(DI()); ++i) lanes[i] = curve(static_cast<unsigned char>(lanes[i]));
  return hn::Load(DI(), lanes);
}

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

// Calls plain(lane) for every lane of the mask and puts its float there.
template <class Plain>
HWY_INLINE VF patched(VF v, MF lanes, Plain plain) {
  HWY_ALIGN float values[hn::MaxLanes(DF())];
  HWY_ALIGN float wanted[hn::MaxLanes(DF())];
  hn::Store(v, DF(), values);
  hn::Store(hn::IfThenElseZero(lanes, all(1.0f)), DF(), wanted);
  for (std::size_t i = 0; i < hn::Lanes(DF()); ++i) {
    if (wanted[i] != 0.0f) values[i] = plain(i);
  }
  return hn::Load(DF(), values);
}

// (pixel / backdrop^rest)^inverse, and how far off it may be, as a share.
struct Powers {
  VD value, tolerance;
};

// Taken as exp(inverse (log pixel - rest log backdrop)). Error bound: Highway states 3 units in the last place for Log
// and 1 for Exp; e = 2^-48, 16 units and more, is allowed for each. pixel and backdrop lie in 50..370, so that no
// logarithm exceeds 6:
//   each of the two terms is off by 6 e at most, their difference with its roundings by 2^-44;
//   `inverse`, 1 or more, multiplies that: the exponent, and so the share of the result, is off by inverse 2^-44 and e
//   from Exp. Where that is no longer small the bound itself fails, so such lanes are never certain.
// The library's pow rounds three times on its way, each time within 2^-52, which `inverse` multiplies too. The sum of
// both stays under inverse 2^-43 with a factor of almost 2 to spare.
HWY_INLINE Powers powers(VD pixel, VD backdrop, VD rest, VD inverse) {
  const DD d;
  const VD exponent = inverse * (hn::Log(d, pixel) - rest * hn::Log(d, backdrop));
  // exp(+-700) is far outside what is used; beyond, Exp is not defined.
  const VD value = hn::Exp(d, hn::Max(hn::Min(exponent, hn::Set(d, 700.0)), hn::Set(d, -700.0)));
  return {value, inverse * hn::Set(d, 0x1p-43)};
}

// Foreground luminance of a pixel not brighter than its backdrop: its certain lanes, clamped to -50..370.
struct Luminances {
  VF value;
  MF certain;
};

HWY_INLINE Luminances darkLuminance(VF y, VF backdropY, VF amount) {
  const DD d;
  const VF hundred = all(100.0f);
  const VF pixel = y + hundred, backdrop = backdropY + hundred;
  const VF rest = all(1.0f) - amount, inverse = all(1.0f) / amount;
  const Powers p0 = powers(widenLower(pixel), widenLower(backdrop), widenLower(rest), widenLower(inverse));
  const Powers p1 = powers(widenUpper(pixel), widenUpper(backdrop), widenUpper(rest), widenUpper(inverse));
  const auto bound = [&](Powers p, VD sign)
                         HWY_ATTR { return p.value + p.value * p.tolerance * sign - hn::Set(d, 100.0); };
  const auto clamped = [](VF v) HWY_ATTR { return hn::Min(hn::Max(v, all(-50.0f)), all(370.0f)); };
  const VD plus = hn::Set(d, 1.0), minus = hn::Set(d, -1.0);
  const VF low = clamped(narrowed(bound(p0, minus), bound(p1, minus)));
  const VF high = clamped(narrowed(bound(p0, plus), bound(p1, plus)));
  // Narrowing is monotone: where both ends of the interval give the same float, so does everything between them.
  return {low, hn::And(low == high, inverse < all(0x1p30f))};
}

// The plain form for single lanes.
HWY_INLINE VF plainLuminance(VF value, MF lanes, VF y, VF backdropY, VF amount) {
  HWY_ALIGN float ys[hn::MaxLanes(DF())], backdrops[hn::MaxLanes(DF())], amounts[hn::MaxLanes(DF())];
  hn::Store(y, DF(), ys);
  hn::Store(backdropY, DF(), backdrops);
  hn::Store(amount, DF(), amounts);
  return patched(value, lanes,
                 [&](std::size_t i) { return unmixLuminance(ys[i], backdrops[i], amounts[i]).luminance; });
}

struct UnmixedLanes {
  VF luminance, opacity;
};

// unmixLuminance for the lanes of `wanted`; the others hold anything. The plain form handles lanes whose power is not
// certain, or all of them when `forcePlain` is set.
HWY_INLINE UnmixedLanes unmixed(VF y, VF backdropY, VF amount, MF wanted, bool forcePlain = false) {
  const VF one = all(1.0f), zero = hn::Zero(DF());
  const MF partly = amount > zero;
  const VF darkest = all(-50.0f), brightest = all(370.0f);

  VF target = select(y < backdropY, darkest, select(y > backdropY, brightest, y));
  const VF rest = one - amount, inverse = one / amount;
  const VF linear = inverse * (y - rest * backdropY);
  target = select(hn::And(partly, y > backdropY), hn::Min(hn::Max(linear, darkest), brightest), target);

  const MF dark = hn::And(hn::And(wanted, partly), y <= backdropY);
  if (any(dark)) {
    // A full amount leaves the pixel as it is, but for the offset of 100 that is added and taken off again.
    const MF whole = hn::And(dark, amount == one);
    const VF asItIs = (y + all(100.0f)) - all(100.0f);
    target = select(whole, hn::Min(hn::Max(asItIs, darkest), brightest), target);
    const MF mixed = hn::AndNot(whole, dark);
    if (any(mixed)) {
      const Luminances found = darkLuminance(y, backdropY, amount);
      target = select(mixed, found.value, target);
      const MF open = forcePlain ? mixed : hn::AndNot(found.certain, mixed);
      if (any(open)) target = plainLuminance(target, open, y, backdropY, amount);
    }
  }
  const MF darker = hn::And(target < backdropY, hn::Not(y == backdropY));
  const VF share = hn::IfThenElseZero(partly, amount);
  return {target, select(darker, (y - backdropY) / (target - backdropY), share)};
}

// writeKeyed.
template <ByteOrder kOrder>
HWY_INLINE VU keyedPixels(VF alpha, VF y, VF foregroundY, Chromas despilled, const ShadowCurve& curve) {
  const VF zero = hn::Zero(DF()), half = all(0.5f);
  const MF seen = hn::Not(alpha == zero);
  const VF luminance = hn::Min(hn::Max(select(y <= foregroundY, y, foregroundY), zero), all(255.0f));
  const VF Y = select(seen, luminance, all(160.0f));
  const VF I = hn::IfThenElseZero(seen, despilled.I), Q = hn::IfThenElseZero(seen, despilled.Q);
  const VI r = truncToBytes(((I * all(0.956f) + Y) + Q * all(0.62f)) + half);
  const VI g = truncToBytes(((I * all(-0.272f) + Y) + Q * all(-0.647f)) + half);
  const VI b = truncToBytes(((Y + I * all(-1.108f)) + Q * all(1.705f)) + half);
  return pixelsOf<kOrder>(b, g, r, shaped(truncToBytes(alpha * all(255.0f)), curve));
}

// The skin side's despill normal: the geometry's own but for the bright lanes of `wanted`, which take a turned one.
template <class Geometry>
HWY_INLINE Chromas skinDespillAt(const Geometry& g, VF y, MF wanted) {
  Chromas normal = all(g.skinDespill);
  const MF bright = hn::And(wanted, y > all(200.0f));
  if (!any(bright)) return normal;
  HWY_ALIGN float ys[hn::MaxLanes(DF())];
  hn::Store(y, DF(), ys);
  normal.I = patched(normal.I, bright, [&](std::size_t i) { return g.skinDespillAt(ys[i]).I; });
  normal.Q = patched(normal.Q, bright, [&](std::size_t i) { return g.skinDespillAt(ys[i]).Q; });
  return normal;
}

// Pixels that need a pass's full geometry, gathered from where they lie so that no lane of it idles. `Images` pixels
// belong together: the frame's and, where there is one, the plate's.
template <std::size_t Images>
class Queue {
 public:
  static constexpr std::size_t kRoom = 1024;

  // Adds the lanes of `open`; there must be room for a vector.
  HWY_INLINE void add(const std::array<VU, Images>& pixels, std::size_t at, hn::Mask<DU> open) {
    const DU du;
    for (std::size_t i = 0; i < Images; ++i) hn::CompressStore(pixels[i], open, du, pixels_[i] + count_);
    count_ += hn::CompressStore(hn::Iota(du, static_cast<std::uint32_t>(at)), open, du, at_ + count_);
  }

  bool full() const { return count_ + hn::Lanes(DU()) > kRoom; }

  // Keys what was gathered and puts it in its places.
  template <class Key>
  HWY_INLINE void drain(unsigned char* result, Key key) {
    const DU du;
    HWY_ALIGN std::uint32_t keyed[hn::MaxLanes(DU())];
    for (std::size_t first = 0; first < count_; first += hn::Lanes(du)) {
      std::array<VU, Images> pixels;
      for (std::size_t i = 0; i < Images; ++i) pixels[i] = hn::Load(du, pixels_[i] + first);
      hn::Store(key(pixels), du, keyed);
      for (std::size_t i = 0; i < hn::Lanes(du) && first + i < count_; ++i) {
        std::memcpy(result + std::size_t{4} * at_[first + i], keyed + i, 4);
      }
    }
    count_ = 0;
  }

 private:
  // Zeros at first: the lanes behind the last pixel are keyed too, and must be defined.
  HWY_ALIGN std::uint32_t pixels_[Images][kRoom + hn::MaxLanes(DU())] = {};
  HWY_ALIGN std::uint32_t at_[kRoom + hn::MaxLanes(DU())];
  std::size_t count_ = 0;
};

// What a quick look at a vector of pixels settles, and the lanes that it leaves open.
struct QuickKey {
  VU result;
  hn::Mask<DU> open;
};

// Keys `count` pixels of `images`: quick(pixels) first, then full(pixels) for what that left open. `result` may be one
// of the images.
template <std::size_t Images, class Quick, class Full>
HWY_INLINE void keyPixels(const std::array<const unsigned char*, Images>& images, unsigned char* result,
                          std::size_t count, Quick quick, Full full) {
  const DU du;
  const std::size_t lanes = hn::Lanes(du);
  Queue<Images> queue;
  std::array<VU, Images> pixels;
  std::size_t at = 0;
  for (; at + lanes <= count; at += lanes) {
    for (std::size_t i = 0; i < Images; ++i) {
      pixels[i] = hn::LoadU(du, reinterpret_cast<const std::uint32_t*>(images[i] + at * 4));
    }
    const QuickKey k = quick(pixels);
    hn::StoreU(k.result, du, reinterpret_cast<std::uint32_t*>(result + at * 4));
    if (hn::AllFalse(du, k.open)) continue;
    if (queue.full()) queue.drain(result, full);
    queue.add(pixels, at, k.open);
  }
  if (at < count) {
    HWY_ALIGN std::uint32_t last[hn::MaxLanes(DU())] = {};
    const std::size_t bytes = (count - at) * 4;
    for (std::size_t i = 0; i < Images; ++i) {
      std::memcpy(last, images[i] + at * 4, bytes);
      pixels[i] = hn::Load(du, last);
    }
    const QuickKey k = quick(pixels);
    hn::Store(k.result, du, last);
    std::memcpy(result + at * 4, last, bytes);
    if (queue.full()) queue.drain(result, full);
    queue.add(pixels, at, hn::And(k.open, hn::FirstN(du, count - at)));
  }
  queue.drain(result, full);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
