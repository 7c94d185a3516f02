// A frame's pixels of any format as vectors of single channels, and back.
#if defined(KALVETRA_DEEP_HOST_PIXELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KALVETRA_DEEP_HOST_PIXELS_INL_H
#undef KALVETRA_DEEP_HOST_PIXELS_INL_H
#else
#define KALVETRA_DEEP_HOST_PIXELS_INL_H
#endif

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "deep/maths-inl.h"
#include "deep/rows.h"
#include "engine/frame.h"
#include "engine/simd/lanes-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

static_assert(hn::MaxLanes(DF()) <= RowBuffer::kWholeVectors);

inline constexpr float kLargestCode = 65504.0f;  // of half precision
inline constexpr float kLargestLevel = kLargestCode * 255.0f;

// Straight; colours and alpha in one unit.
struct Channels {
  VF red, green, blue, alpha;
};

HWY_INLINE VF finite(VF v) {
  const VF number = hn::IfThenElseZero(v == v, v), largest = all(kLargestCode);
  const VF below = select(number > all(std::numeric_limits<float>::max()), largest, number);
  return select(below < all(std::numeric_limits<float>::lowest()), hn::Neg(largest), below);
}

// Whether nothing of these colours has to be mended or cut off, in whatever unit: nearly always.
HWY_INLINE bool ordinary(const Channels& c) {
  const auto small = [](VF v) HWY_ATTR { return hn::Abs(v) <= all(kLargestCode); };
  return hn::AllTrue(DF(), hn::And(hn::And(small(c.red), small(c.green)), small(c.blue)));
}
HWY_INLINE Channels finite(const Channels& c) {
  return ordinary(c) ? c : Channels{finite(c.red), finite(c.green), finite(c.blue), c.alpha};
}

// How a format's pixels are read. `kUnit` is what its alpha has where a pixel is opaque.
template <PixelFormat kFormat>
struct HostPixels {
  static constexpr simd::ByteOrder kOrder = kFormat == PixelFormat::Argb8   ? simd::ByteOrder::Argb
                                            : kFormat == PixelFormat::Bgra8 ? simd::ByteOrder::Bgra
                                                                            : simd::ByteOrder::Rgba;
  static constexpr float kUnit = 255.0f;
  static HWY_INLINE Channels load(const unsigned char* pixels) {
    const VU v = loadPixels(DU(), pixels, 0);
    return {channel<redBit(kOrder)>(v), channel<greenBit(kOrder)>(v), channel<blueBit(kOrder)>(v),
            channel<alphaBit(kOrder)>(v)};
  }
};

template <>
struct HostPixels<PixelFormat::RgbaF32> {
  static constexpr float kUnit = 1.0f;
  static HWY_INLINE Channels load(const unsigned char* pixels) {
    VF red, green, blue, alpha;
    hn::LoadInterleaved4(DF(), reinterpret_cast<const float*>(pixels), red, green, blue, alpha);
    // In this order NaN gives 0.
    return finite({red, green, blue, least(most(alpha, hn::Zero(DF())), all(1.0f))});
  }
};

// Pixels in the unit of their format, alpha within 0..kUnit, all finite.
template <PixelFormat kFormat>
HWY_INLINE Channels straightPixels(const unsigned char* pixels, bool premultiplied) {
  const Channels c = HostPixels<kFormat>::load(pixels);
  if (!premultiplied) return c;
  const auto divided = [&](VF color) HWY_ATTR {
    const VF whole = color * all(HostPixels<kFormat>::kUnit) / c.alpha;
    return hn::IfThenZeroElse(c.alpha == hn::Zero(DF()), whole);
  };
  return finite({divided(c.red), divided(c.green), divided(c.blue), c.alpha});
}

// Of pixels in a format's unit.
template <PixelFormat kFormat>
HWY_INLINE Channels levelsOf(const Channels& c) {
  if constexpr (HostPixels<kFormat>::kUnit == 255.0f) return c;
  const VF white = all(255.0f);
  const Channels levels{c.red * white, c.green * white, c.blue * white, c.alpha * white};
  if (ordinary(c)) return levels;
  const auto cut = [](VF level) HWY_ATTR { return within(level, -kLargestLevel, kLargestLevel); };
  return {cut(levels.red), cut(levels.green), cut(levels.blue), levels.alpha};
}

// Calls work(constant) with the format as a std::integral_constant.
template <class Work>
HWY_INLINE void inFormat(PixelFormat format, const Work& work) {
  switch (format) {
    case PixelFormat::Argb8:
      return work(std::integral_constant<PixelFormat, PixelFormat::Argb8>());
    case PixelFormat::Bgra8:
      return work(std::integral_constant<PixelFormat, PixelFormat::Bgra8>());
    case PixelFormat::Rgba8:
      return work(std::integral_constant<PixelFormat, PixelFormat::Rgba8>());
    case PixelFormat::RgbaF32:
      return work(std::integral_constant<PixelFormat, PixelFormat::RgbaF32>());
  }
}

// Asks for what a pass over a frame will read or write before long: rows of floats are so wide that processors' own
// guesses, which end with a page of memory, leave it waiting. Addresses after the frame's end do no harm.
HWY_INLINE void askAhead(const void* now, std::size_t bytes) {
  constexpr std::size_t kLine = 64, kAhead = 2048;
  const auto first = reinterpret_cast<std::uintptr_t>(now) + kAhead;
  for (std::size_t i = 0; i < bytes; i += kLine) hwy::Prefetch(reinterpret_cast<const char*>(first + i));
}

// Calls body(pixels, x) for each vector of a row, `pixels` being where its pixels lie; after a row's end they are
// zeros.
template <PixelFormat kFormat, class Body>
HWY_INLINE void forHostPixels(const unsigned char* row, std::size_t pixels, const Body& body) {
  constexpr std::size_t kBytes = static_cast<std::size_t>(pixelBytes(kFormat));
  const std::size_t lanes = hn::Lanes(DF());
  HWY_ALIGN unsigned char last[hn::MaxLanes(DF()) * kBytes] = {};
  // One call of the body, so that it becomes part of the loop.
  for (std::size_t x = 0; x < pixels; x += lanes) {
    const unsigned char* at = row + x * kBytes;
    if (x + lanes > pixels) {
      std::memcpy(last, at, (pixels - x) * kBytes);
      at = last;
    } else {
      askAhead(at, lanes * kBytes);
    }
    body(at, x);
  }
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
