// The formula of kept shadows (engine/kept_shadows.h), for floats one by one and for vectors of them.
#if defined(KALVETRA_SIMD_SHADE_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_SIMD_SHADE_INL_H
#undef KALVETRA_SIMD_SHADE_INL_H
#else
#define KALVETRA_SIMD_SHADE_INL_H
#endif

#include <hwy/highway.h>

#include <cmath>
#include <type_traits>

#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

inline constexpr float kRedLuma = 0.299f, kGreenLuma = 0.587f, kBlueLuma = 0.114f;
inline constexpr float kLumaNoise = 0.67f;  // of a channel's: the length of these three
inline constexpr float kWider = 0.5f;       // noise without any light over that in the plate's, less 1
inline constexpr float kSurelySame = 2.0f, kSurelyOther = 4.0f;  // of a colour from the paint, in noise
inline constexpr float kNoPaint = 4.0f, kFullPaint = 8.0f;       // of the paint from grey, in noise
inline constexpr float kNoLight = 0.1f, kEnoughLight = 0.2f;     // of the plate's, coded for screens
inline constexpr float kNoShadow = 2.0f, kFullShadow = 5.0f;

// A number as a value of V's kind.
template <class V>
HWY_INLINE V value(float number) {
  if constexpr (std::is_same_v<V, float>) {
    return number;
  } else {
    return all(number);
  }
}
HWY_INLINE float magnitude(float x) { return std::abs(x); }
HWY_INLINE VF magnitude(VF x) { return hn::Abs(x); }

// Without a comparison, which compilers may not turn into vectors where it could raise a flag.
template <class V>
HWY_INLINE V atLeastZero(V x) {
  return (x + magnitude(x)) * value<V>(0.5f);
}

// 0 up to 0, 1 from 1 on, smooth in between.
template <class V>
HWY_INLINE V eased(V x) {
  const V one = value<V>(1.0f);
  const V inside = one - atLeastZero(one - atLeastZero(x));
  return inside * inside * (value<V>(3.0f) - value<V>(2.0f) * inside);
}

template <class V>
HWY_INLINE V square(V x) {
  return x * x;
}

template <class V>
struct Shade {
  V shown;   // opacity before the shadow curve, at least 0
  V weight;  // 0..1
};

// Of a pixel over a plate's pixel, levels, where noise has this deviation.
template <class V>
HWY_INLINE Shade<V> shadeOf(V red, V green, V blue, V plateRed, V plateGreen, V plateBlue, float deviation) {
  const V one = value<V>(1.0f);
  const auto luma = [](V r, V g, V b) HWY_ATTR {
    return value<V>(kRedLuma) * r + value<V>(kGreenLuma) * g + value<V>(kBlueLuma) * b;
  };
  const V y = luma(red, green, blue), plateY = luma(plateRed, plateGreen, plateBlue);
  const V light = y / (one + atLeastZero(plateY - one)), density = one - light;
  const V r = light * plateRed, g = light * plateGreen, b = light * plateBlue;
  const V residual = square(red - r) + square(green - g) + square(blue - b);
  const V chroma = square(r - y) + square(g - y) + square(b - y);
  const V noise = value<V>(deviation) * (one + value<V>(kWider) * atLeastZero(density));
  const V same = square(value<V>(kSurelySame) * noise), width = square(value<V>(kSurelyOther) * noise) - same;
  const V none = square(value<V>(kNoPaint) * noise), rise = square(value<V>(kFullPaint) * noise) - none;
  const V seen = eased(plateY - one);  // a plate of black has no paint
  const V lit = eased((light - value<V>(kNoLight)) / value<V>(kEnoughLight - kNoLight));
  const V weight = seen * lit * eased(one - (residual - same) / width) * eased((chroma - none) / rise);
  const V missing = (plateY - y) / value<V>(kLumaNoise * deviation);  // in standard deviations
  const V shown = density * eased((missing - value<V>(kNoShadow)) / value<V>(kFullShadow - kNoShadow));
  return {atLeastZero(shown), weight};
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
