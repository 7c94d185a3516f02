// Colours of frames and plates of any depth as levels: 0 is black and 255 nominal white. What is made of a picture is
// so the same at every depth, but that floats are not rounded.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/frame.h"
#include "imaging/numeric.h"
#include "plates/plate.h"

namespace kalvetra::plates {

// Red, green and blue: of a colour in levels, of a gain as factors.
using Rgb = std::array<float, 3>;

// What plates of such a frame hold their colours in.
constexpr PixelFormat plateFormat(PixelFormat frame) {
  return frame == PixelFormat::RgbaF32 ? PixelFormat::RgbaF32 : PixelFormat::Argb8;
}

// Of a frame of floats, straight: alpha (0..255), red, green, blue. NaN counts as 0, anything beyond 65504 times white
// as that.
std::array<float, 4> levelsAt(const ConstFrame& frame, int x, int y);

// The rows of a frame of any format, straight.
class LevelRows {
 public:
  // With `isBlue`, green and blue change places.
  explicit LevelRows(const ConstFrame& frame, bool isBlue = false);
  // Alpha (0..255), red, green, blue of each pixel of row y, as levelsAt has them; until the next call.
  const float* row(int y);

 private:
  ConstFrame frame_;
  bool isBlue_;
  std::vector<unsigned char> bytes_;  // of a frame that holds such
  std::vector<float> levels_;
};

// Black and opaque, in one of plateFormat()'s two formats.
Plate blankPlate(PixelFormat format, int width, int height);

inline Rgb colorOf(const Plate& plate, std::size_t pixel) {
  if (plate.format() == PixelFormat::RgbaF32) {
    const float* const p = &plate.rgba[pixel * 4];
    return {255.0f * p[0], 255.0f * p[1], 255.0f * p[2]};
  }
  const unsigned char* const p = &plate.argb[pixel * kPixelBytes];
  return {static_cast<float>(p[1]), static_cast<float>(p[2]), static_cast<float>(p[3])};
}

// Rounded to whole levels within 0..255 in a plate of bytes. NaN counts as 0.
inline void setColor(Plate& plate, std::size_t pixel, const Rgb& color) {
  const bool isFloat = plate.format() == PixelFormat::RgbaF32;
  for (std::size_t c = 0; c < 3; ++c) {
    if (isFloat) {
      plate.rgba[pixel * 4 + c] = color[c] == color[c] ? color[c] / 255.0f : 0.0f;
    } else {
      plate.argb[pixel * kPixelBytes + 1 + c] = truncToByte(color[c] + 0.5f);
    }
  }
}

// 64ths of a level in 16 bits, for the many pictures of floats that are kept at once: within +-511 levels, twice white.
inline constexpr float kFineSteps = 64.0f;
using FineColors = std::vector<std::int16_t>;     // red, green, blue of each pixel
inline constexpr std::int16_t kNoColor = -32768;  // in red: the pixel does not count

// `counts`, where given, has a byte for each pixel: those of 0 do not count.
FineColors fineColors(const Plate& plate, const unsigned char* counts = nullptr);

}  // namespace kalvetra::plates
