// Shadows kept against a plate: plain loops, one text that compilers turn into the vectors of each instruction set, and
// of the least one at level Scalar. All operations are exact by IEEE, so the bytes are the same.
#include "engine/simd/kernels.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/simd/kept_shadows.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "cpu/dispatch.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::HWY_NAMESPACE {

namespace {

constexpr float kRed = 0.299f, kGreen = 0.587f, kBlue = 0.114f;  // in luma
constexpr float kLumaNoise = 0.67f;                              // of a channel's: the length of these three
constexpr float kWider = 0.5f;                            // noise without any light over that in the plate's, less 1
constexpr float kSurelySame = 2.0f, kSurelyOther = 4.0f;  // of a colour from the paint, in noise
constexpr float kNoPaint = 4.0f, kFullPaint = 8.0f;       // of the paint from grey, in noise
constexpr float kNoLight = 0.1f, kEnoughLight = 0.2f;     // of the plate's, coded for screens
constexpr float kNoShadow = 2.0f, kFullShadow = 5.0f;

// Without a comparison, which compilers may not turn into vectors where it could raise a flag.
float atLeastZero(float x) { return (x + std::abs(x)) * 0.5f; }

// 0 up to 0, 1 from 1 on, smooth in between.
float eased(float x) {
  const float inside = 1.0f - atLeastZero(1.0f - atLeastZero(x));
  return inside * inside * (3.0f - 2.0f * inside);
}

float square(float x) { return x * x; }

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

struct Colors {
  Colors(const Pixels& pixels, const std::array<int, 4>& bits)
      : red(channel(pixels, bits[0])), green(channel(pixels, bits[1])), blue(channel(pixels, bits[2])) {}
  Values red, green, blue;
};

struct Shades {
  Values opacity;  // levels
  Values weight;   // 0..1
};

Shades shadesOf(const Colors& s, const Colors& p, float deviation) {
  Shades shades;
  for (std::size_t i = 0; i < kBlock; ++i) {
    const float y = kRed * s.red[i] + kGreen * s.green[i] + kBlue * s.blue[i];
    const float plateY = kRed * p.red[i] + kGreen * p.green[i] + kBlue * p.blue[i];
    const float light = y / (1.0f + atLeastZero(plateY - 1.0f)), density = 1.0f - light;
    const float red = light * p.red[i], green = light * p.green[i], blue = light * p.blue[i];
    const float residual = square(s.red[i] - red) + square(s.green[i] - green) + square(s.blue[i] - blue);
    const float chroma = square(red - y) + square(green - y) + square(blue - y);
    const float noise = deviation * (1.0f + kWider * atLeastZero(density));
    const float same = square(kSurelySame * noise), width = square(kSurelyOther * noise) - same;
    const float none = square(kNoPaint * noise), rise = square(kFullPaint * noise) - none;
    const float seen = eased(plateY - 1.0f);  // a plate of black has no paint
    const float lit = eased((light - kNoLight) / (kEnoughLight - kNoLight));
    shades.weight[i] = seen * lit * eased(1.0f - (residual - same) / width) * eased((chroma - none) / rise);
    const float missing = (plateY - y) / (kLumaNoise * deviation);  // in standard deviations
    const float shown = density * eased((missing - kNoShadow) / (kFullShadow - kNoShadow));
    shades.opacity[i] = static_cast<float>(rounded(atLeastZero(shown) * 255.0f));
  }
  return shades;
}

// The mix of a keyed block and its shades. Where nothing shows in the end, colours stay.
void lay(const Shades& shades, const Pixels& source, const std::array<int, 4>& bits, Pixels& keyed) {
  const auto [redBit, greenBit, blueBit, alphaBit] = bits;
  const std::uint32_t alphaMask = 0xFFu << alphaBit;
  const Values alphas = channel(keyed, alphaBit);
  const Colors colors(keyed, bits);
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
    Shades shades = shadesOf(Colors(from, mix.bits), Colors(read(plate + at, count), mix.bits), mix.noise);
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
