// Shadows kept against a plate: plain loops, one text that compilers turn into the vectors of each instruction set, and
// of the least one at level Scalar. All operations are exact by IEEE, so the bytes are the same.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/kept_shadows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "cpu/dispatch.h"
#include "engine/simd/shade-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

// A whole number at or above 0.
int rounded(float x) { return static_cast<int>(x + 0.5f); }

// The loops below run over whole blocks without a branch, so that compilers make vectors of them.
constexpr std::size_t kBlock = 64;
using Pixels = std::array<std::uint32_t, kBlock>;
using Values = std::array<float, kBlock>;

// 0 after the last one.
Pixels read(const unsigned char* row, std::size_t count) {
  Pixels pixels{};
  std::memcpy(pixels.data(), row, count * 4);
  return pixels;
}

Values channel(const Pixels& pixels, int bit) {
  Values values;
  for (std::size_t i = 0; i < kBlock; ++i) values[i] = static_cast<float>(static_cast<int>(pixels[i] >> bit & 0xFFu));
  return values;
}

struct Channels {
  Channels(const Pixels& pixels, const std::array<int, 4>& bits)
      : red(channel(pixels, bits[0])), green(channel(pixels, bits[1])), blue(channel(pixels, bits[2])) {}
  Values red, green, blue;
};

struct Shades {
  Values opacity;  // levels
  Values weight;   // 0..1
};

Shades shadesOf(const Channels& s, const Channels& p, float deviation) {
  Shades shades;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const Shade<float> shade = shadeOf(s.red[i], s.green[i], s.blue[i], p.red[i], p.green[i], p.blue[i], deviation);
    shades.weight[i] = shade.weight;
    shades.opacity[i] = static_cast<float>(rounded(shade.shown * 255.0f));
  }
  return shades;
}

// The mix of a keyed block and its shades. Where nothing shows in the end, colours stay.
void lay(const Shades& shades, const Pixels& source, const std::array<int, 4>& bits, Pixels& keyed) {
  const auto [redBit, greenBit, blueBit, alphaBit] = bits;
  const std::uint32_t alphaMask = 0xFFu << alphaBit;
  const Values alphas = channel(keyed, alphaBit);
  const Channels colors(keyed, bits);
  for (std::size_t i = 0; i < kBlock; ++i) {
    const float kept = (1.0f - shades.weight[i]) * alphas[i], alpha = kept + shades.weight[i] * shades.opacity[i];
    const auto host = static_cast<int>(source[i] >> alphaBit & 0xFFu);
    const int shown = std::min(rounded(alpha), host);
    const float part = kept / (alpha + atLeastZero(0.001f - alpha));  // never by 0
    const auto byte = [part](float color, int bit) { return static_cast<std::uint32_t>(rounded(color * part)) << bit; };
    const std::uint32_t color =
        byte(colors.red[i], redBit) | byte(colors.green[i], greenBit) | byte(colors.blue[i], blueBit);
    keyed[i] = (shown == 0 ? keyed[i] & ~alphaMask : color) | static_cast<std::uint32_t>(shown) << alphaBit;
  }
}

// The same for the matte, shown as grey.
void layMatte(const Shades& shades, const Pixels& source, const std::array<int, 4>& bits, Pixels& matte) {
  const std::uint32_t alphaMask = 0xFFu << bits[3];
  const Values alphas = channel(matte, bits[0]);
  for (std::size_t i = 0; i < kBlock; ++i) {
    const float alpha = (1.0f - shades.weight[i]) * alphas[i] + shades.weight[i] * shades.opacity[i];
    const auto host = static_cast<int>(source[i] >> bits[3] & 0xFFu);
    matte[i] = alphaMask | static_cast<std::uint32_t>(std::min(rounded(alpha), host)) * (0x01010101u & ~alphaMask);
  }
}

}  // namespace

void keepShadows(const simd::ShadowMix& mix, const unsigned char* source, const unsigned char* plate,
                 unsigned char* finished, std::size_t pixels) {
  for (std::size_t done = 0; done < pixels; done += kBlock) {
    const std::size_t count = std::min(kBlock, pixels - done), at = done * 4;
    const Pixels from = read(source + at, count);
    Shades shades = shadesOf(Channels(from, mix.bits), Channels(read(plate + at, count), mix.bits), mix.noise);
    if (mix.curve.active()) {
      for (float& level : shades.opacity) level = static_cast<float>(mix.curve(static_cast<unsigned char>(level)));
    }
    Pixels view = read(finished + at, count);
    if (mix.matteView) {
      layMatte(shades, from, mix.bits, view);
    } else {
      lay(shades, from, mix.bits, view);
    }
    std::memcpy(finished + at, view.data(), count * 4);
  }
}

}  // namespace kalvetra::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra {

HWY_EXPORT(keepShadows);

void simd::keepShadows(const ShadowMix& mix, const unsigned char* source, const unsigned char* plate,
                       unsigned char* finished, std::size_t pixels) {
  if (enabled()) {
    KALVETRA_VECTOR_FORM(keepShadows)(mix, source, plate, finished, pixels);
  } else {
    HWY_STATIC_DISPATCH(keepShadows)(mix, source, plate, finished, pixels);
  }
}

}  // namespace kalvetra
#endif
