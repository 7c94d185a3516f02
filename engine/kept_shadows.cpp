#include "engine/kept_shadows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "engine/key_geometry.h"

namespace kalvetra {

namespace {

constexpr float kRed = 0.299f, kGreen = 0.587f, kBlue = 0.114f;  // in luma
constexpr float kLumaNoise = 0.67f;                              // of a channel's: the length of these three
constexpr float kLeastNoise = 0.75f;  // levels: rounding alone, of the frame and of the plate
constexpr float kSurelySame = 2.0f, kSurelyOther = 4.0f;
constexpr float kNoShadow = 2.0f, kFullShadow = 5.0f;

// Without a comparison, which compilers may not turn into vectors where it could raise a flag.
float atLeastZero(float x) { return (x + std::abs(x)) * 0.5f; }

// 0 up to 0, 1 from 1 on, smooth in between.
float eased(float x) {
  const float inside = 1.0f - atLeastZero(1.0f - atLeastZero(x));
  return inside * inside * (3.0f - 2.0f * inside);
}

float square(float x) { return x * x; }

// A block's channels apart; 0 after its last pixel.
template <std::size_t kBlock>
struct Channels {
  Channels(const unsigned char* row, std::size_t pixels, const std::size_t (&places)[3]) {
    std::uint32_t packed[kBlock]{};
    std::memcpy(packed, row, pixels * kPixelBytes);
    fill(packed, places[0], red);
    fill(packed, places[1], green);
    fill(packed, places[2], blue);
  }
  static void fill(const std::uint32_t (&packed)[kBlock], std::size_t place, float (&channel)[kBlock]) {
    const auto shift = static_cast<int>(8 * (std::endian::native == std::endian::little ? place : 3 - place));
    for (std::size_t i = 0; i < kBlock; ++i)
      channel[i] = static_cast<float>(static_cast<int>(packed[i] >> shift & 0xFFu));
  }

  float red[kBlock], green[kBlock], blue[kBlock];
};

unsigned char rounded(float level) { return static_cast<unsigned char>(level + 0.5f); }

}  // namespace

KeptShadows::KeptShadows(const KALVETRA_Param& param, float noise, bool matteView, PixelFormat format, bool blueScreen)
    : matteView_(matteView),
      noise_(noise > kLeastNoise ? std::min(noise, 255.0f) : kLeastNoise),
      curve_(PlateKeyGeometry(param).curve),
      alpha_(format == PixelFormat::Argb8 ? 0 : 3) {
  const std::size_t red = format == PixelFormat::Bgra8 ? 2 : format == PixelFormat::Argb8 ? 1 : 0;
  const std::size_t green = format == PixelFormat::Argb8 ? 2 : 1, blue = 2 * green - red;
  color_[0] = red;
  color_[1] = blueScreen ? blue : green;
  color_[2] = blueScreen ? green : blue;
}

void KeptShadows::look(const unsigned char* source, const unsigned char* plate, std::size_t pixels,
                       Shades& shades) const {
  const Channels<kBlock> s(source, pixels, color_), p(plate, pixels, color_);
  for (std::size_t i = 0; i < kBlock; ++i) {
    const float y = kRed * s.red[i] + kGreen * s.green[i] + kBlue * s.blue[i];
    const float plateY = kRed * p.red[i] + kGreen * p.green[i] + kBlue * p.blue[i];
    const float light = y / (1.0f + atLeastZero(plateY - 1.0f)), density = 1.0f - light;
    const float red = light * p.red[i], green = light * p.green[i], blue = light * p.blue[i];
    const float residual = square(s.red[i] - red) + square(s.green[i] - green) + square(s.blue[i] - blue);
    const float chroma = square(red - y) + square(green - y) + square(blue - y);
    const float noise = noise_ * (1.0f + atLeastZero(density));
    const float same = square(kSurelySame * noise), other = square(kSurelyOther * noise);
    const float seen = eased(plateY - 1.0f);  // a plate of black has no paint
    shades.weight[i] = seen * eased((other - residual) / (other - same)) * eased((chroma - same) / (other - same));
    const float missing = (plateY - y) / (kLumaNoise * noise_);  // in standard deviations
    shades.opacity[i] = density * eased((missing - kNoShadow) / (kFullShadow - kNoShadow));
  }
}

// Over a pixel of the finished view.
void KeptShadows::lay(float opacity, float weight, unsigned char host, unsigned char* finished) const {
  const float shaped = static_cast<float>(curve_(rounded(opacity * 255.0f)));
  const float keyed = (1.0f - weight) * static_cast<float>(finished[matteView_ ? color_[0] : alpha_]);
  const float alpha = keyed + weight * shaped;
  const unsigned char shown = std::min(rounded(alpha), host);
  if (matteView_) {
    for (const std::size_t c : color_) finished[c] = shown;
    return;
  }
  finished[alpha_] = shown;
  if (!(alpha > 0.0f)) return;
  const float kept = keyed > 0.0f ? keyed / alpha : 0.0f;
  for (const std::size_t c : color_) finished[c] = rounded(static_cast<float>(finished[c]) * kept);
}

void KeptShadows::keep(const unsigned char* source, const unsigned char* plate, unsigned char* finished,
                       std::size_t pixels) const {
  Shades shades;
  for (std::size_t done = 0; done < pixels; done += kBlock) {
    const std::size_t count = std::min(kBlock, pixels - done), at = done * kPixelBytes;
    look(source + at, plate + at, count, shades);
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned char host = source[at + i * kPixelBytes + alpha_];
      unsigned char* const pixel = finished + at + i * kPixelBytes;
      const bool stays =
          shades.weight[i] <= 0.0f || (shades.opacity[i] <= 0.0f && pixel[matteView_ ? color_[0] : alpha_] == 0);
      if (!stays && host != 0) lay(shades.opacity[i], shades.weight[i], host, pixel);
    }
  }
}

}  // namespace kalvetra
