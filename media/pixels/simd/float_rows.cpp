#include "media/pixels/simd/float_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "media/pixels/simd/float_rows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstddef>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

namespace {

using Floats = hn::ScalableTag<float>;
using One = hn::CappedTag<float, 1>;

// Calls body(tag, x) with whole vectors of pixels, then with the single ones that are left.
template <class Body>
HWY_INLINE void forPixels(int width, const Body& body) {
  const Floats vector;
  const int lanes = static_cast<int>(hn::Lanes(vector));
  int x = 0;
  for (; x + lanes <= width; x += lanes) body(vector, x);
  for (; x < width; ++x) body(One(), x);
}

template <class Tag, class V>
HWY_INLINE void store(Tag tag, V red, V green, V blue, V alpha, float* rgba) {
  if constexpr (hn::MaxLanes(Tag()) == 1) {
    hn::StoreU(red, tag, rgba);
    hn::StoreU(green, tag, rgba + 1);
    hn::StoreU(blue, tag, rgba + 2);
    hn::StoreU(alpha, tag, rgba + 3);
  } else {
    hn::StoreInterleaved4(red, green, blue, alpha, tag, rgba);
  }
}

// Red, green, blue and alpha.
template <class Tag, class V = hn::Vec<Tag>>
HWY_INLINE void load(Tag tag, const float* rgba, V& red, V& green, V& blue, V& alpha) {
  if constexpr (hn::MaxLanes(Tag()) == 1) {
    red = hn::LoadU(tag, rgba);
    green = hn::LoadU(tag, rgba + 1);
    blue = hn::LoadU(tag, rgba + 2);
    alpha = hn::LoadU(tag, rgba + 3);
  } else {
    hn::LoadInterleaved4(tag, rgba, red, green, blue, alpha);
  }
}

template <class Tag>
HWY_INLINE void storeTenBits(Tag tag, hn::Vec<Tag> value, std::uint16_t* out) {
  const hn::Rebind<std::int32_t, Tag> whole;
  const hn::Rebind<std::uint16_t, Tag> samples;
  const auto kept = hn::Min(hn::Max(value, hn::Zero(tag)), hn::Set(tag, 1023.0f));
  hn::StoreU(hn::DemoteTo(samples, hn::ConvertTo(whole, hn::Add(kept, hn::Set(tag, 0.5f)))), samples, out);
}

}  // namespace

void yuvToFloats(const simd::FloatYuvMatrix& m, const float* y, const float* u, const float* v, const float* alpha,
                 int width, float* rgba) {
  forPixels(width, [&](auto tag, int x) HWY_ATTR {
    const auto set = [&](float value) HWY_ATTR { return hn::Set(tag, value); };
    const auto light = hn::Div(hn::Sub(hn::LoadU(tag, y + x), set(m.black)), set(m.lumaSpan));
    const auto chromaU = hn::Sub(hn::LoadU(tag, u + x), set(m.neutral));
    const auto chromaV = hn::Sub(hn::LoadU(tag, v + x), set(m.neutral));
    const auto red = hn::Add(light, hn::Mul(chromaV, set(m.redV)));
    const auto blue = hn::Add(light, hn::Mul(chromaU, set(m.blueU)));
    const auto green = hn::Add(light, hn::Add(hn::Mul(chromaU, set(m.greenU)), hn::Mul(chromaV, set(m.greenV))));
    store(tag, red, green, blue, hn::LoadU(tag, alpha + x), rgba + std::ptrdiff_t{4} * x);
  });
}

void interleaveFloats(const float* red, const float* green, const float* blue, const float* alpha, int width,
                      float* rgba) {
  forPixels(width, [&](auto tag, int x) HWY_ATTR {
    store(tag, hn::LoadU(tag, red + x), hn::LoadU(tag, green + x), hn::LoadU(tag, blue + x), hn::LoadU(tag, alpha + x),
          rgba + std::ptrdiff_t{4} * x);
  });
}

void floatsToTenBits(const float* rgba, float redWeight, float blueWeight, int width, const simd::TenBitPlanes& out) {
  const float greenWeight = 1.0f - redWeight - blueWeight;
  const float blueSpan = 2.0f * (1.0f - blueWeight), redSpan = 2.0f * (1.0f - redWeight);
  forPixels(width, [&](auto tag, int x) HWY_ATTR {
    const auto set = [&](float value) HWY_ATTR { return hn::Set(tag, value); };
    hn::Vec<decltype(tag)> red, green, blue, alpha;
    load(tag, rgba + std::ptrdiff_t{4} * x, red, green, blue, alpha);
    const auto y = hn::Add(hn::Add(hn::Mul(set(redWeight), red), hn::Mul(set(greenWeight), green)),
                           hn::Mul(set(blueWeight), blue));
    const auto u = hn::Div(hn::Sub(blue, y), set(blueSpan)), v = hn::Div(hn::Sub(red, y), set(redSpan));
    storeTenBits(tag, hn::Add(set(64.0f), hn::Mul(set(876.0f), y)), out.y + x);
    storeTenBits(tag, hn::Add(set(512.0f), hn::Mul(set(896.0f), u)), out.u + x);
    storeTenBits(tag, hn::Add(set(512.0f), hn::Mul(set(896.0f), v)), out.v + x);
    if (out.alpha != nullptr) storeTenBits(tag, hn::Mul(alpha, set(1023.0f)), out.alpha + x);
  });
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(yuvToFloats);
HWY_EXPORT(interleaveFloats);
HWY_EXPORT(floatsToTenBits);

void simd::yuvToFloats(const FloatYuvMatrix& matrix, const float* y, const float* u, const float* v, const float* alpha,
                       int width, float* rgba) {
  if (enabled()) {
    KALVETRA_VECTOR_FORM(yuvToFloats)(matrix, y, u, v, alpha, width, rgba);
  } else {
    HWY_STATIC_DISPATCH(yuvToFloats)(matrix, y, u, v, alpha, width, rgba);
  }
}

void simd::interleaveFloats(const float* red, const float* green, const float* blue, const float* alpha, int width,
                            float* rgba) {
  if (enabled()) {
    KALVETRA_VECTOR_FORM(interleaveFloats)(red, green, blue, alpha, width, rgba);
  } else {
    HWY_STATIC_DISPATCH(interleaveFloats)(red, green, blue, alpha, width, rgba);
  }
}

void simd::floatsToTenBits(const float* rgba, float redWeight, float blueWeight, int width, const TenBitPlanes& out) {
  if (enabled()) {
    KALVETRA_VECTOR_FORM(floatsToTenBits)(rgba, redWeight, blueWeight, width, out);
  } else {
    HWY_STATIC_DISPATCH(floatsToTenBits)(rgba, redWeight, blueWeight, width, out);
  }
}

}  // namespace kalvetra
#endif
