// Logarithms and powers of two, in single precision by IEEE operations alone, so that all processors agree to the bit.
// Errors are in relation to the result.
#if defined(KALVETRA_DEEP_MATHS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_DEEP_MATHS_INL_H
#undef KALVETRA_DEEP_MATHS_INL_H
#else
#define KALVETRA_DEEP_MATHS_INL_H
#endif

#include <hwy/highway.h>

#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

using namespace kalvetra::HWY_NAMESPACE;

// By comparison, since processors disagree on the least of two zeros or of a number and NaN. NaN gives `b`.
HWY_INLINE VF least(VF a, VF b) { return select(a < b, a, b); }
HWY_INLINE VF most(VF a, VF b) { return select(a > b, a, b); }
HWY_INLINE VF within(VF v, float low, float high) { return most(least(v, all(high)), all(low)); }

// log2((1 + s) / (1 - s)) for |s| at most 0.172: the area tangent's series. What is left out is 2^-28 of it.
HWY_INLINE VF log2OfQuotient(VF s) {
  const VF z = s * s;
  VF sum = all(0.32059889797532f);  // 2 / (9 ln 2), then / 7, / 5, / 3, / 1
  sum = sum * z + all(0.41219858311113f);
  sum = sum * z + all(0.57707801635559f);
  sum = sum * z + all(0.96179669392598f);
  sum = sum * z + all(2.88539008177793f);
  return s * sum;
}

// A number as m 2^k with m from sqrt(1/2) to sqrt(2).
struct Scaled {
  VF m, k;
};
HWY_INLINE Scaled scaled(VF x) {
  const DI di;
  const VI root = hn::Set(di, 0x3F3504F3);  // the bits of sqrt(1/2)
  const VI bits = hn::BitCast(di, x);
  const VI k = hn::ShiftRight<23>(bits - root);
  return {hn::BitCast(DF(), bits - hn::ShiftLeft<23>(k)), hn::ConvertTo(DF(), k)};
}

// log2 x, within 2^-22. What is below 2^-126, the least normal number, counts as that.
HWY_INLINE VF log2(VF x) {
  const Scaled v = scaled(most(x, all(0x1p-126f)));
  return v.k + log2OfQuotient((v.m - all(1.0f)) / (v.m + all(1.0f)));
}

// log2(1 + x), within 2^-21 also where x is tiny. 1 + x has to be normal or is taken as the least normal number.
HWY_INLINE VF log2p1(VF x) {
  const Scaled v = scaled(most(all(1.0f) + x, all(0x1p-126f)));
  const VF above = select(v.k == hn::Zero(DF()), x, v.m - all(1.0f));
  return v.k + log2OfQuotient(above / (all(2.0f) + above));
}

// A power of two as scale + scale * more, |more| at most 0.415. Exponents are cut off at +-126.
struct Power {
  VF scale, more;
};
HWY_INLINE Power powerOfTwo(VF x) {
  const DI di;
  // Adding this leaves no room for a fraction; ties go to even numbers.
  const VF magic = all(0x1.8p23f);
  const VF exponent = within(x, -126.0f, 126.0f), lifted = exponent + magic;
  const VI n = hn::BitCast(di, lifted) - hn::BitCast(di, magic);
  const VF r = exponent - (lifted - magic);
  VF sum = all(0.000015252733804f);  // (ln 2)^7 / 7!, then ^6 / 6! and so on: what is left out is 2^-26 of the sum
  sum = sum * r + all(0.000154035303934f);
  sum = sum * r + all(0.001333355814643f);
  sum = sum * r + all(0.009618129107629f);
  sum = sum * r + all(0.055504108664822f);
  sum = sum * r + all(0.240226506959101f);
  sum = sum * r + all(0.693147180559945f);
  return {hn::BitCast(DF(), hn::ShiftLeft<23>(n + hn::Set(di, 127))), r * sum};
}

// 2^x, within 2^-22.
HWY_INLINE VF exp2(VF x) {
  const Power p = powerOfTwo(x);
  return p.scale + p.scale * p.more;
}

// 2^x - 1, within 2^-21 also where x is tiny.
HWY_INLINE VF exp2m1(VF x) {
  const Power p = powerOfTwo(x);
  return (p.scale - all(1.0f)) + p.scale * p.more;
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
