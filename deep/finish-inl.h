// A pixel's way from the frame to the key and from the key to the view, a vector at a time.
#if defined(KALVETRA_DEEP_FINISH_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_DEEP_FINISH_INL_H
#undef KALVETRA_DEEP_FINISH_INL_H
#else
#define KALVETRA_DEEP_FINISH_INL_H
#endif

#include <hwy/highway.h>

#include <cstring>
#include <utility>

#include "deep/host_pixels-inl.h"
#include "deep/key_kernels.h"
#include "deep/maths-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

// level / 255: the very quotient where the level is a byte's, and within a unit or two of its last place elsewhere. 1 /
// 255 as two numbers, the first with so few digits that its product with a byte is exact.
HWY_INLINE VF codeOf(VF level) { return level * all(0x1.01p-8f) + level * all(0x1.010102p-24f); }

// Pixels of the frame in working colours: their straight code values, and as levels what the key looks at.
struct Host {
  Channels codes, levels;
};

// Floats, four a pixel.
HWY_INLINE Host hostOf(const Finish& finish, const float* floats) {
  Channels codes =
      straightPixels<PixelFormat::RgbaF32>(reinterpret_cast<const unsigned char*>(floats), finish.fromPremultiplied);
  if (finish.blueScreen) std::swap(codes.green, codes.blue);
  return {codes, levelsOf<PixelFormat::RgbaF32>(codes)};
}

// Levels of bytes, from pixel x on.
HWY_INLINE Host hostOf(const ConstRow& row, std::size_t x) {
  const DF df;
  const Channels levels{hn::Load(df, row.red + x), hn::Load(df, row.green + x), hn::Load(df, row.blue + x),
                        hn::Load(df, row.alpha + x)};
  return {{codeOf(levels.red), codeOf(levels.green), codeOf(levels.blue), codeOf(levels.alpha)}, levels};
}

// Of a row of any kind, from pixel x on; `floats`: its own, where it has some, at that pixel.
HWY_INLINE Host hostOf(const Finish& finish, const HostRow& row, const float* floats, std::size_t x) {
  return row.floats != nullptr ? hostOf(finish, floats) : hostOf(row.levels, x);
}

// Of code values, in working colours, with alpha in levels.
struct Keyed {
  VF red, green, blue, alpha;
};

// A step at `low` where the levels are crossed, as in the exact key.
HWY_INLINE VF clipped(const Finish& f, VF alpha) { return ramp(alpha, f.low, f.high) * all(255.0f); }

// With the frame's colours where its alpha is 0.
HWY_INLINE Keyed shownBy(const Host& host, const Keyed& keyed) {
  const MF hidden = host.levels.alpha == hn::Zero(DF());
  return {select(hidden, host.codes.red, keyed.red), select(hidden, host.codes.green, keyed.green),
          select(hidden, host.codes.blue, keyed.blue), keyed.alpha};
}

// The matte limited by the frame's alpha in levels, and clipped.
HWY_INLINE VF limited(const Finish& f, VF hostAlpha, VF matte) {
  const VF alpha = least(matte, hostAlpha);
  return f.clips ? clipped(f, alpha) : alpha;
}

// The view's code values, in the order of the picture's own colours, with an alpha of that code value.
HWY_INLINE Channels viewOf(const Finish& f, const Keyed& keyed, VF alpha) {
  if (f.matteView) return {alpha, alpha, alpha, all(1.0f)};
  Channels c{keyed.red, keyed.green, keyed.blue, alpha};
  if (f.blueScreen) std::swap(c.green, c.blue);
  if (f.premultiplied) c = {c.red * alpha, c.green * alpha, c.blue * alpha, alpha};
  return c;
}

HWY_INLINE Channels viewOf(const Finish& f, const Keyed& keyed) { return viewOf(f, keyed, codeOf(keyed.alpha)); }

// Of a matte that no later stage has to see.
HWY_INLINE Channels viewAtOnce(const Finish& f, const Host& host, Keyed keyed) {
  keyed.alpha = limited(f, host.levels.alpha, keyed.alpha);
  return viewOf(f, shownBy(host, keyed));
}

HWY_INLINE void store(const Channels& c, float* floats) {
  hn::StoreInterleaved4(c.red, c.green, c.blue, c.alpha, DF(), floats);
}

// Calls body(source, result, x) for each vector of a row of four floats a pixel and its result, which may be the same;
// after the row's end pixels are zeros. `source` may be null, and is then anything.
template <class Body>
HWY_INLINE void forPixels(const float* source, float* result, std::size_t pixels, const Body& body) {
  constexpr std::size_t kBytes = 4 * sizeof(float);
  const std::size_t lanes = hn::Lanes(DF());
  HWY_ALIGN float lastSource[4 * hn::MaxLanes(DF())] = {}, lastResult[4 * hn::MaxLanes(DF())] = {};
  // One call of the body, so that it becomes part of the loop.
  for (std::size_t x = 0; x < pixels; x += lanes) {
    const float* from = source == nullptr ? nullptr : source + 4 * x;
    float* to = result + 4 * x;
    const bool partly = x + lanes > pixels;
    const std::size_t bytes = (pixels - x) * kBytes;
    if (partly) {
      if (source != nullptr) from = static_cast<const float*>(std::memcpy(lastSource, from, bytes));
      to = static_cast<float*>(std::memcpy(lastResult, to, bytes));
    } else {
      if (source != nullptr) askAhead(from, kBytes * lanes);
      askAhead(to, kBytes * lanes);
    }
    body(from, to, x);
    if (partly) std::memcpy(result + 4 * x, to, bytes);
  }
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
