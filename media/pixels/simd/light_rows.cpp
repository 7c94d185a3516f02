#include "media/pixels/simd/light_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/pixels/simd/light_rows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

namespace {

constexpr double kLeast = 0x1p-100;  // keeps logarithms finite where a curve's line is taken anyway
constexpr double kMost = 0x1p50;     // and results within floats

template <class D>
struct Curves {
  using V = hn::Vec<D>;
  using Whole = hn::RebindToSigned<D>;

  static HWY_INLINE V set(double value) { return hn::Set(D(), value); }

  // coefficients[0] + x * (coefficients[1] + x * ...)
  template <int kCount>
  static HWY_INLINE V polynomial(V x, const double (&coefficients)[kCount]) {
    V sum = set(coefficients[kCount - 1]);
    for (int i = kCount - 2; i >= 0; --i) sum = hn::Add(set(coefficients[i]), hn::Mul(x, sum));
    return sum;
  }

  // Of positive normal numbers.
  static HWY_INLINE V log2(V x) {
    constexpr std::int64_t kRootOfHalf = 0x3FE6A09E667F3BCD;
    constexpr double kTwoOverLog2 = 2.8853900817779268147;
    const Whole whole;
    const auto bits = hn::BitCast(whole, x);
    const auto exponent = hn::ShiftRight<52>(hn::Sub(bits, hn::Set(whole, kRootOfHalf)));
    const V m = hn::BitCast(D(), hn::Sub(bits, hn::ShiftLeft<52>(exponent)));  // from root of 1/2 to root of 2
    const V t = hn::Div(hn::Sub(m, set(1)), hn::Add(m, set(1)));               // log m = 2 artanh t
    const V series = polynomial(hn::Mul(t, t), {1.0, 1.0 / 3, 1.0 / 5, 1.0 / 7, 1.0 / 9, 1.0 / 11, 1.0 / 13, 1.0 / 15});
    return hn::Add(hn::ConvertTo(D(), exponent), hn::Mul(hn::Mul(set(kTwoOverLog2), t), series));
  }

  // -1000..1000
  static HWY_INLINE V exp2(V power) {
    const V rounding = set(0x1.8p52);  // added, it leaves the nearest whole number in the lowest bits
    const V sum = hn::Add(power, rounding);
    const V x = hn::Mul(hn::Sub(power, hn::Sub(sum, rounding)), set(0.69314718055994530942));
    const V series = polynomial(x, {1.0, 1.0, 1.0 / 2, 1.0 / 6, 1.0 / 24, 1.0 / 120, 1.0 / 720, 1.0 / 5040, 1.0 / 40320,
                                    1.0 / 362880, 1.0 / 3628800, 1.0 / 39916800});
    const Whole whole;
    const auto exponent = hn::Add(hn::BitCast(whole, sum), hn::Set(whole, 1023));
    return hn::Mul(series, hn::BitCast(D(), hn::ShiftLeft<52>(exponent)));
  }

  static HWY_INLINE V power(V base, double exponent) { return exp2(hn::Mul(set(exponent), log2(base))); }
  static HWY_INLINE V atLeast(V x, double least) { return hn::Max(x, set(least)); }

  // IEC 61966-2-1. Its line ends in light at 0.0031308, in code values where both branches meet.
  static HWY_INLINE V srgbFromLight(V light) {
    const V curve = hn::Sub(hn::Mul(set(1.055), power(atLeast(light, kLeast), 1 / 2.4)), set(0.055));
    return hn::IfThenElse(hn::Le(light, set(0.0031308)), hn::Mul(set(12.92), light), curve);
  }
  static HWY_INLINE V lightFromSrgb(V code) {
    const V curve = power(hn::Div(hn::Add(code, set(0.055)), set(1.055)), 2.4);
    return hn::IfThenElse(hn::Le(code, set(12.92 * 0.0031308)), hn::Div(code, set(12.92)), curve);
  }

  // The inverse of the camera curve of ITU-R BT.709: below the knee it is a line.
  static HWY_INLINE V lightFromBt709(V code) {
    const V curve = power(hn::Div(hn::Add(code, set(0.099)), set(1.099)), 1 / 0.45);
    return hn::IfThenElse(hn::Lt(code, set(4.5 * 0.018)), hn::Div(code, set(4.5)), curve);
  }

  // SMPTE ST 2084, in units of 100 cd/m2; it has a pole at twice its white.
  static HWY_INLINE V lightFromPq(V code) {
    constexpr double kM1 = 2610.0 / 16384, kM2 = 2523.0 / 32;
    constexpr double kC1 = 3424.0 / 4096, kC2 = 2413.0 / 128, kC3 = 2392.0 / 128;
    const V p = power(atLeast(code, kLeast), 1 / kM2);
    const V below = atLeast(hn::Sub(set(kC2), hn::Mul(set(kC3), p)), 0x1p-20);
    const V share = hn::Div(atLeast(hn::Sub(p, set(kC1)), 0.0), below);
    return hn::Min(hn::Mul(set(100), power(atLeast(share, kLeast), 1 / kM1)), set(65504));
  }

  // ITU-R BT.2100, table 5: the scene's light 0..1. What lies above 2 is beyond the largest half.
  static HWY_INLINE V sceneFromHlg(V code) {
    constexpr double kA = 0.17883277, kB = 0.28466892, kC = 0.55991073, kLog2E = 1.4426950408889634074;
    const V exponent = hn::Mul(hn::Sub(hn::Min(code, set(4)), set(kC)), set(kLog2E / kA));
    const V curve = hn::Div(hn::Add(exp2(exponent), set(kB)), set(12));
    return hn::IfThenElse(hn::Le(code, set(0.5)), hn::Div(hn::Mul(code, code), set(3)), curve);
  }

  template <class Curve>
  static HWY_INLINE void bend(const double* value, float* out, Curve curve) {
    const hn::Rebind<float, D> floats;
    const V signedValue = hn::LoadU(D(), value);
    const V bent = hn::CopySign(curve(hn::Min(hn::Abs(signedValue), set(kMost))), signedValue);
    hn::StoreU(hn::DemoteTo(floats, bent), floats, out);
  }

  static HWY_INLINE void bend(simd::Curve curve, const double* value, float* out) {
    switch (curve) {
      case simd::Curve::SrgbFromLight:
        return bend(value, out, srgbFromLight);
      case simd::Curve::LightFromSrgb:
        return bend(value, out, lightFromSrgb);
      case simd::Curve::LightFromBt709:
        return bend(value, out, lightFromBt709);
      case simd::Curve::LightFromPq:
        return bend(value, out, lightFromPq);
      case simd::Curve::SceneFromHlg:
        return bend(value, out, sceneFromHlg);
      case simd::Curve::FifthRoot:
        return bend(value, out, [](V x) HWY_ATTR { return power(atLeast(x, kLeast), 0.2); });
    }
  }
};

}  // namespace

void bendRow(simd::Curve curve, const double* values, float* out, int count) {
  using Vector = hn::ScalableTag<double>;
  const int lanes = static_cast<int>(hn::Lanes(Vector()));
  int i = 0;
  for (; i + lanes <= count; i += lanes) Curves<Vector>::bend(curve, values + i, out + i);
  for (; i < count; ++i) Curves<hn::CappedTag<double, 1>>::bend(curve, values + i, out + i);
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(bendRow);

void simd::bendRow(Curve curve, const double* values, float* out, int count) {
  if (enabled()) {
    KALVETRA_VECTOR_FORM(bendRow)(curve, values, out, count);
  } else {
    HWY_STATIC_DISPATCH(bendRow)(curve, values, out, count);
  }
}

}  // namespace kalvetra
#endif
