// Vectors of colours in levels, for the passes of this folder.
#if defined(KALVETRA_REFINE_COLORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_REFINE_COLORS_INL_H
#undef KALVETRA_REFINE_COLORS_INL_H
#else
#define KALVETRA_REFINE_COLORS_INL_H
#endif

#include <hwy/highway.h>

#include <cstddef>
#include <cstring>
#include <utility>

#include "deep/maths-inl.h"
#include "deep/rows.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::refine::HWY_NAMESPACE {

using namespace kalvetra::deep::HWY_NAMESPACE;

struct Color {
  VF r, g, b;
};
HWY_INLINE Color operator+(Color a, Color b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
HWY_INLINE Color operator-(Color a, Color b) { return {a.r - b.r, a.g - b.g, a.b - b.b}; }
HWY_INLINE Color operator*(Color a, VF k) { return {a.r * k, a.g * k, a.b * k}; }
HWY_INLINE VF dot(Color a, Color b) { return a.r * b.r + a.g * b.g + a.b * b.b; }
HWY_INLINE VF luma(Color c) { return c.r * all(0.299f) + c.g * all(0.587f) + c.b * all(0.114f); }
HWY_INLINE Chromas chromaOf(Color c) { return colorsOf(c.r, c.g, c.b).at; }
HWY_INLINE Color bounded(Color c, Color low, Color high) {
  return {least(most(c.r, low.r), high.r), least(most(c.g, low.g), high.g), least(most(c.b, low.b), high.b)};
}
HWY_INLINE Color bounded(Color c, float low, float high) {
  return {within(c.r, low, high), within(c.g, low, high), within(c.b, low, high)};
}

// Colours that are far off any light are no evidence, and their powers would overflow.
HWY_INLINE Color sane(Color c) { return bounded(c, -255.0f, 1023.0f); }

HWY_INLINE Color colorAt(const deep::ConstRow& row, std::size_t x) {
  const DF df;
  return {hn::Load(df, row.red + x), hn::Load(df, row.green + x), hn::Load(df, row.blue + x)};
}

// 0 up to `from`, 1 from `to` on, smooth between; from < to.
HWY_INLINE VF smoothStep(VF from, VF to, VF x) {
  const VF t = within((x - from) / (to - from), 0.0f, 1.0f);
  return t * t * (all(3.0f) - all(2.0f) * t);
}
HWY_INLINE VF smoothStep(float from, float to, VF x) { return smoothStep(all(from), all(to), x); }

// A pixel's chroma by that of the screen behind it.
struct Axis {
  Chromas screen;
  VF square, length;  // of it
};
HWY_INLINE Axis axisOf(Color screen) {
  const Chromas at = chromaOf(screen);
  const VF square = most(dot(at, at), all(1.0f));
  return {at, square, hn::Sqrt(square)};
}
HWY_INLINE VF along(const Axis& axis, Color c) { return dot(chromaOf(c), axis.screen) / axis.length; }
// As opaque as the screen's chroma is missing: exact for whatever is grey.
HWY_INLINE VF missing(const Axis& axis, Color c) { return all(1.0f) - dot(chromaOf(c), axis.screen) / axis.square; }

// A row of four floats a pixel, straight, in working colours.
struct KeyedPixels {
  Color codes;  // 0..1 and beyond
  VF alpha;
  // In levels; nothing so large that it would become infinite.
  HWY_INLINE Color levels() const { return bounded(codes, -65504.0f, 65504.0f) * all(255.0f); }
};
HWY_INLINE KeyedPixels loadKeyed(const float* pixels, bool blueScreen) {
  KeyedPixels k;
  hn::LoadInterleaved4(DF(), pixels, k.codes.r, k.codes.g, k.codes.b, k.alpha);
  if (blueScreen) std::swap(k.codes.g, k.codes.b);
  return k;
}
HWY_INLINE void storeKeyed(KeyedPixels k, bool blueScreen, float* pixels) {
  if (blueScreen) std::swap(k.codes.g, k.codes.b);
  hn::StoreInterleaved4(k.codes.r, k.codes.g, k.codes.b, k.alpha, DF(), pixels);
}

}  // namespace kalvetra::refine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
