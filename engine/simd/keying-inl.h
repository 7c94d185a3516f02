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
#include "imaging/simd/spans-inl.h"

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

HWY_INLINE VI truncToBytes(VF v) { return truncToBytes(DF(), v); }

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
struct Stretch {
  explicit HWY_INLINE Stretch(float whiteLimit) : limit(all(whiteLimit)), slope(all(1.0f / whiteLimit)) {}
  HWY_INLINE VF operator()(VF opacity) const {
    const VF inside = select(opacity < limit, hn::Min(slope * opacity, all(1.0f)), all(1.0f));
    return hn::IfThenZeroElse(opacity <= hn::Zero(DF()), inside);
  }
  VF limit, slope;
};

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
HWY_INLINE Powers powers(VD pixel, VD logBackdrop, VD rest, VD inverse) {
  const DD d;
  const VD exponent = inverse * (hn::Log(d, pixel) - rest * logBackdrop);
  // exp(+-700) is far outside what is used; beyond, Exp is not defined.
  const VD value = hn::Exp(d, hn::Max(hn::Min(exponent, hn::Set(d, 700.0)), hn::Set(d, -700.0)));
  return {value, inverse * hn::Set(d, 0x1p-43)};
}

// Foreground luminance of a pixel not brighter than its backdrop: its certain lanes, clamped to -50..370.
struct Luminances {
  VF value;
  MF certain;
};

// The logarithms of backdropY + 100.
struct Logs {
  VD lower, upper;
};
HWY_INLINE Logs logsOf(VF backdropY) {
  const VF offset = backdropY + all(100.0f);
  return {hn::Log(DD(), widenLower(offset)), hn::Log(DD(), widenUpper(offset))};
}

HWY_INLINE Luminances darkLuminance(VF y, const Logs& backdrop, VF amount) {
  const DD d;
  const VF hundred = all(100.0f);
  const VF pixel = y + hundred;
  const VF rest = all(1.0f) - amount, inverse = all(1.0f) / amount;
  const Powers p0 = powers(widenLower(pixel), backdrop.lower, widenLower(rest), widenLower(inverse));
  const Powers p1 = powers(widenUpper(pixel), backdrop.upper, widenUpper(rest), widenUpper(inverse));
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
// `backdropLogs()` gives the logarithms of the backdrop; it is asked only where a lane needs them.
template <class BackdropLogs>
HWY_INLINE UnmixedLanes unmixed(VF y, VF backdropY, VF amount, MF wanted, BackdropLogs backdropLogs,
                                bool forcePlain = false) {
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
      const Luminances found = darkLuminance(y, backdropLogs(), amount);
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
  return pixelsOf<kOrder>(b, g, r, shaped(truncInRange(DF(), alpha * all(255.0f)), curve));
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

// What the full geometry of a pass makes of a vector of pixels: those that it settles, and for the others, those with
// an amount of 0 or more, what their luminance and colour follow from.
struct Geometry {
  VU settled;
  VF amount;  // -1 where settled
  VF y, backdropY;
  Chromas despilled;
};

// Pixels that need a pass's full geometry, gathered from where they lie so that no lane of it idles. `Images` pixels
// belong together: the frame's and, where there is one, the plate's. Each step runs over the whole queue before the
// next one: a processor overlaps the vectors of a short loop, but not those of one as long as all steps together.
template <std::size_t Images>
class Queue {
 public:
  // Adds the lanes of `open`; the queue must not be full.
  HWY_INLINE void add(const std::array<VU, Images>& pixels, std::size_t at, hn::Mask<DU> open) {
    const DU du;
    // Compressed in a register: some processors take a hundred cycles and more to compress into memory.
    for (std::size_t i = 0; i < Images; ++i) hn::StoreU(hn::Compress(pixels[i], open), du, pixels_[i] + count_);
    hn::StoreU(hn::Compress(hn::Iota(du, static_cast<std::uint32_t>(at)), open), du, at_ + count_);
    count_ += hn::CountTrue(du, open);
  }

  bool full() const { return count_ + hn::Lanes(DU()) > kRoom; }

  // Keys what was gathered and puts it in its places.
  template <class Pass>
  HWY_INLINE void drain(unsigned char* result, const Pass& pass) {
    const DU du;
    const DF df;
    const std::size_t lanes = hn::Lanes(du);
    for (std::size_t i = 0; i < count_; i += lanes) {
      std::array<VU, Images> pixels;
      for (std::size_t image = 0; image < Images; ++image) pixels[image] = hn::Load(du, pixels_[image] + i);
      const Geometry g = pass.geometry(pixels);
      hn::Store(g.settled, du, keyed_ + i);
      hn::Store(g.amount, df, amount_ + i);
      hn::Store(g.y, df, y_ + i);
      hn::Store(g.backdropY, df, backdropY_ + i);
      hn::Store(g.despilled.I, df, despilledI_ + i);
      hn::Store(g.despilled.Q, df, despilledQ_ + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) {
      const VF amount = hn::Load(df, amount_ + i), backdropY = hn::Load(df, backdropY_ + i);
      const auto logs = [&]() HWY_ATTR { return pass.logs(backdropY); };
      const UnmixedLanes u = unmixed(hn::Load(df, y_ + i), backdropY, amount, amount >= hn::Zero(df), logs);
      hn::Store(u.luminance, df, luminance_ + i);
      hn::Store(u.opacity, df, backdropY_ + i);
    }
    for (std::size_t i = 0; i < count_; i += lanes) {
      const Chromas despilled{hn::Load(df, despilledI_ + i), hn::Load(df, despilledQ_ + i)};
      const VU pixels =
          pass.keyed(hn::Load(df, backdropY_ + i), hn::Load(df, y_ + i), hn::Load(df, luminance_ + i), despilled);
      const auto open = hn::RebindMask(du, hn::Load(df, amount_ + i) >= hn::Zero(df));
      hn::Store(hn::IfThenElse(open, pixels, hn::Load(du, keyed_ + i)), du, keyed_ + i);
    }
    for (std::size_t i = 0; i < count_; ++i) std::memcpy(result + std::size_t{4} * at_[i], keyed_ + i, 4);
    count_ = 0;
  }

 private:
  static constexpr std::size_t kRoom = 256;
  static constexpr std::size_t kSize = kRoom + hn::MaxLanes(DU());

  // Zeros at first: the lanes behind the last pixel are keyed too, and must be defined.
  HWY_ALIGN std::uint32_t pixels_[Images][kSize] = {};
  HWY_ALIGN std::uint32_t at_[kSize], keyed_[kSize];
  HWY_ALIGN float amount_[kSize], y_[kSize], despilledI_[kSize], despilledQ_[kSize], luminance_[kSize];
  HWY_ALIGN float backdropY_[kSize];  // then the opacity
  std::size_t count_ = 0;
};

// What a quick look at a vector of pixels settles, and the lanes that it leaves open: those near the axis between key
// and grey, whose full geometry is short, and the others. Which of the two a lane is counted to is a matter of speed
// alone.
struct QuickKey {
  VU result;
  hn::Mask<DU> inner, outer;
};

// Keys `count` pixels of `images`: pass.quick(pixels, at) first, then the full geometry for what that left open.
// `result` may be one of the images.
template <std::size_t Images, class Pass>
HWY_INLINE void keyPixels(const std::array<const unsigned char*, Images>& images, unsigned char* result,
                          std::size_t count, const Pass& pass) {
  const DU du;
  const std::size_t lanes = hn::Lanes(du);
  Queue<Images> inner, outer;
  const auto enqueue = [&](Queue<Images>& queue, const auto& pixels, std::size_t at, hn::Mask<DU> open) HWY_ATTR {
    if (hn::AllFalse(du, open)) return;
    if (queue.full()) queue.drain(result, pass);
    queue.add(pixels, at, open);
  };
  std::array<VU, Images> pixels;
  std::size_t at = 0;
  for (; at + lanes <= count; at += lanes) {
    for (std::size_t i = 0; i < Images; ++i) pixels[i] = loadPixels(du, images[i], at);
    const QuickKey k = pass.quick(pixels, at);
    storePixels(du, k.result, result, at);
    enqueue(inner, pixels, at, k.inner);
    enqueue(outer, pixels, at, k.outer);
  }
  if (at < count) {
    HWY_ALIGN std::uint32_t last[hn::MaxLanes(DU())] = {};
    const std::size_t bytes = (count - at) * 4;
    for (std::size_t i = 0; i < Images; ++i) {
      std::memcpy(last, images[i] + at * 4, bytes);
      pixels[i] = hn::Load(du, last);
    }
    const QuickKey k = pass.quick(pixels, at);
    hn::Store(k.result, du, last);
    std::memcpy(result + at * 4, last, bytes);
    const auto there = hn::FirstN(du, count - at);
    enqueue(inner, pixels, at, hn::And(k.inner, there));
    enqueue(outer, pixels, at, hn::And(k.outer, there));
  }
  inner.drain(result, pass);
  outer.drain(result, pass);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
