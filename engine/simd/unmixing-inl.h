// The foreground luminance behind mixed pixels, by vectors. Powers are computed in double precision to a known bound; a
// lane whose single-precision result the bound does not decide is handed to the plain form.
#if defined(KALVETRA_SIMD_UNMIXING_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_UNMIXING_INL_H
#undef KALVETRA_SIMD_UNMIXING_INL_H
#else
#define KALVETRA_SIMD_UNMIXING_INL_H
#endif

#include <hwy/highway.h>

#include "engine/chroma_plane.h"
#include "engine/simd/double_lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

// How sure a power has to be. Tests widen the bound and count the lanes that the plain form decides.
struct Doubt {
  double widening = 1.0;
  std::size_t* decided = nullptr;
};

// log x for x within 100..357: twice the area tangent of s = (x - c) / (x + c), c in the middle, which makes |s| at
// most 0.31. The series ends at s^25, which leaves 2^-49; with the roundings the result is within 2^-48.
HWY_INLINE VD logOf(VD x) {
  const DD d;
  const VD centre = hn::Set(d, 188.0);
  const VD s = (x - centre) / (x + centre), square = s * s;
  VD sum = hn::Set(d, 1.0 / 25.0);
  for (const double divisor : {23.0, 21.0, 19.0, 17.0, 15.0, 13.0, 11.0, 9.0, 7.0, 5.0, 3.0, 1.0}) {
    sum = hn::MulAdd(sum, square, hn::Set(d, 1.0 / divisor));
  }
  constexpr double kLogOfCentre = 5.236441962829949;
  return hn::MulAdd(s + s, sum, hn::Set(d, kLogOfCentre));
}

// exp x for x within 3.8..6.3, as e^5 (e^t)^8: |t| is at most 0.17, and the series to t^10 leaves 2^-54 of e^t. The
// three squarings and the roundings make it 2^-48 of the result.
HWY_INLINE VD expOf(VD x) {
  const DD d;
  const VD t = (x - hn::Set(d, 5.0)) * hn::Set(d, 0.125);
  VD sum = hn::Set(d, 1.0 / 3628800.0);
  for (const double divisor : {362880.0, 40320.0, 5040.0, 720.0, 120.0, 24.0, 6.0, 2.0, 1.0, 1.0}) {
    sum = hn::MulAdd(sum, t, hn::Set(d, 1.0 / divisor));
  }
  sum = sum * sum;
  sum = sum * sum;
  constexpr double kExpOf5 = 148.4131591025766;
  return sum * sum * hn::Set(d, kExpOf5);
}

// The logarithms of backdropY + 100.
struct Logs {
  VD lower, upper;
};
HWY_INLINE Logs logsOf(VF backdropY) {
  const VF offset = backdropY + all(100.0f);
  return {logOf(widenLower(offset)), logOf(widenUpper(offset))};
}

// (pixel / backdrop^rest)^inverse, taken as exp(inverse (log pixel - rest log backdrop)). Below 3.8 and above 6.3 the
// exponent is cut off: the result then lies outside of what it is clamped to, exp 3.9 to exp 6.15, one way or another.
HWY_INLINE VD powerOf(VD pixel, VD logBackdrop, VD rest, VD inverse) {
  const DD d;
  const VD exponent = inverse * (logOf(pixel) - rest * logBackdrop);
  return expOf(hn::Max(hn::Min(exponent, hn::Set(d, 6.3)), hn::Set(d, 3.8)));
}

// Foreground luminance of a pixel not brighter than its backdrop, clamped to -50..370, where it is certain.
struct Luminances {
  VF value;
  MF certain;
};

// Error bound, as a share of the power: the two logarithms are off by 2^-48 each, their difference with its roundings
// by less than 2^-46, which `inverse` multiplies; expOf adds 2^-48. The plain form takes two powers of the library's,
// each within 2^-52, and divides; `inverse` multiplies that too. As `inverse` is 1 or more, all of it stays below
// inverse 2^-45; double that is allowed. Beyond 2^30 for `inverse` the bound is no longer small and nothing certain.
HWY_INLINE Luminances darkLuminance(VF y, const Logs& backdrop, VF amount, double widening) {
  const DD d;
  const VF pixel = y + all(100.0f);
  const VF rest = all(1.0f) - amount, inverse = all(1.0f) / amount;
  const VD inverse0 = widenLower(inverse), inverse1 = widenUpper(inverse);
  const VD power0 = powerOf(widenLower(pixel), backdrop.lower, widenLower(rest), inverse0);
  const VD power1 = powerOf(widenUpper(pixel), backdrop.upper, widenUpper(rest), inverse1);
  const VD tolerance = hn::Set(d, 0x1p-44 * widening), offset = hn::Set(d, 100.0);
  const VD doubt0 = power0 * inverse0 * tolerance, doubt1 = power1 * inverse1 * tolerance;
  const auto clamped = [](VF v) HWY_ATTR { return hn::Min(hn::Max(v, all(-50.0f)), all(370.0f)); };
  const VF low = clamped(narrowed(power0 - doubt0 - offset, power1 - doubt1 - offset));
  const VF high = clamped(narrowed(power0 + doubt0 - offset, power1 + doubt1 - offset));
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

// unmixLuminance for the lanes of `wanted`; the others hold anything. `backdropLogs()` gives the logarithms of the
// backdrop; it is asked only where a lane needs them. The plain form decides lanes whose power is not certain.
template <class BackdropLogs>
HWY_INLINE UnmixedLanes unmixed(VF y, VF backdropY, VF amount, MF wanted, BackdropLogs backdropLogs,
                                const Doubt& doubt = {}) {
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
      const Luminances found = darkLuminance(y, backdropLogs(), amount, doubt.widening);
      target = select(mixed, found.value, target);
      const MF open = hn::AndNot(found.certain, mixed);
      if (any(open)) {
        target = plainLuminance(target, open, y, backdropY, amount);
        if (doubt.decided != nullptr) *doubt.decided += hn::CountTrue(DF(), open);
      }
    }
  }
  const MF darker = hn::And(target < backdropY, hn::Not(y == backdropY));
  const VF share = hn::IfThenElseZero(partly, amount);
  return {target, select(darker, (y - backdropY) / (target - backdropY), share)};
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
