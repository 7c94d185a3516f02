#include "analysis/matte_views.h"

#include <cstring>

namespace kalvetra {

namespace {

std::int64_t& kindOf(MatteStatus& status, int alpha) {
  if (alpha == 0) return status.clear;
  if (alpha <= kAlmostClearTo) return status.almostClear;
  if (alpha < kAlmostOpaqueFrom) return status.partial;
  return alpha < 255 ? status.almostOpaque : status.opaque;
}

using Pixel = std::array<unsigned char, kPixelBytes>;

int alphaPlace(PixelFormat format) { return format == PixelFormat::Argb8 ? 0 : 3; }

Pixel opaquePixel(PixelFormat format, const std::array<unsigned char, 3>& rgb) {
  switch (format) {
    case PixelFormat::Argb8:
      return {255, rgb[0], rgb[1], rgb[2]};
    case PixelFormat::Bgra8:
      return {rgb[2], rgb[1], rgb[0], 255};
    case PixelFormat::Rgba8:
    case PixelFormat::RgbaF32:  // not 8-bit
      break;
  }
  return {rgb[0], rgb[1], rgb[2], 255};
}

// What a pixel becomes at each level of alpha.
using LevelPixels = std::array<Pixel, 256>;

LevelPixels greyLevels(PixelFormat format) {
  LevelPixels pixels;
  for (std::size_t level = 0; level < pixels.size(); ++level) {
    const auto grey = static_cast<unsigned char>(level);
    pixels[level] = opaquePixel(format, {grey, grey, grey});
  }
  return pixels;
}

LevelPixels statusLevels(PixelFormat format) {
  LevelPixels pixels = greyLevels(format);
  for (int level = 1; level <= kAlmostClearTo; ++level) {
    pixels[static_cast<std::size_t>(level)] = opaquePixel(format, kAlmostClearColor);
  }
  for (int level = kAlmostOpaqueFrom; level < 255; ++level) {
    pixels[static_cast<std::size_t>(level)] = opaquePixel(format, kAlmostOpaqueColor);
  }
  return pixels;
}

void paint(const ConstFrame& keyed, const LevelPixels& pixels, const Frame& out) {
  for (int y = 0; y < keyed.height; ++y) {
    const unsigned char* alpha = keyed.row(y) + alphaPlace(keyed.format);
    unsigned char* to = out.row(y);
    for (int x = 0; x < keyed.width; ++x, alpha += kPixelBytes, to += kPixelBytes) {
      std::memcpy(to, pixels[*alpha].data(), kPixelBytes);
    }
  }
}

MatteStatus statusOf(const ConstFrame& keyed) {
  std::array<std::int64_t, 256> pixels{};
  for (int y = 0; y < keyed.height; ++y) {
    const unsigned char* alpha = keyed.row(y) + alphaPlace(keyed.format);
    for (int x = 0; x < keyed.width; ++x, alpha += kPixelBytes) ++pixels[*alpha];
  }
  MatteStatus status;
  for (std::size_t level = 0; level < pixels.size(); ++level) kindOf(status, static_cast<int>(level)) += pixels[level];
  return status;
}

}  // namespace

MatteStatus& MatteStatus::operator+=(const MatteStatus& other) {
  clear += other.clear;
  almostClear += other.almostClear;
  partial += other.partial;
  almostOpaque += other.almostOpaque;
  opaque += other.opaque;
  return *this;
}

void showMatte(const ConstFrame& keyed, const Frame& out) { paint(keyed, greyLevels(out.format), out); }

MatteStatus showStatus(const ConstFrame& keyed, const Frame& out) {
  const MatteStatus status = statusOf(keyed);  // first: the frames may be the same
  paint(keyed, statusLevels(out.format), out);
  return status;
}

}  // namespace kalvetra
