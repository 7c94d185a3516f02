#include "analysis/matte_views.h"

#include <algorithm>
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

using FloatPixel = std::array<float, 4>;

int levelOf(const float* pixel) {
  const float alpha = pixel[3];
  return alpha > 0.0f ? static_cast<int>(std::min(alpha, 1.0f) * 255.0f + 0.5f) : 0;
}

const float* floatRow(const ConstFrame& frame, int y) { return reinterpret_cast<const float*>(frame.row(y)); }

FloatPixel greyPixel(const float* keyed) { return {keyed[3], keyed[3], keyed[3], 1.0f}; }

FloatPixel floatsOf(const std::array<unsigned char, 3>& rgb) {
  const auto value = [&rgb](std::size_t c) { return static_cast<float>(rgb[c]) / 255.0f; };
  return {value(0), value(1), value(2), 1.0f};
}

FloatPixel statusPixel(const float* keyed) {
  const int level = levelOf(keyed);
  if (level > 0 && level <= kAlmostClearTo) return floatsOf(kAlmostClearColor);
  if (level >= kAlmostOpaqueFrom && level < 255) return floatsOf(kAlmostOpaqueColor);
  return greyPixel(keyed);
}

void paintFloats(const ConstFrame& keyed, FloatPixel (*pixelOf)(const float*), const Frame& out) {
  for (int y = 0; y < keyed.height; ++y) {
    const float* from = floatRow(keyed, y);
    auto* to = reinterpret_cast<float*>(out.row(y));
    for (int x = 0; x < keyed.width; ++x, from += 4, to += 4) {
      const FloatPixel pixel = pixelOf(from);
      std::copy(pixel.begin(), pixel.end(), to);
    }
  }
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
    if (keyed.format == PixelFormat::RgbaF32) {
      const float* pixel = floatRow(keyed, y);
      for (int x = 0; x < keyed.width; ++x, pixel += 4) ++pixels[static_cast<std::size_t>(levelOf(pixel))];
      continue;
    }
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

void showMatte(const ConstFrame& keyed, const Frame& out) {
  if (keyed.format == PixelFormat::RgbaF32) return paintFloats(keyed, greyPixel, out);
  paint(keyed, greyLevels(out.format), out);
}

MatteStatus showStatus(const ConstFrame& keyed, const Frame& out) {
  const MatteStatus status = statusOf(keyed);  // first: the frames may be the same
  if (keyed.format == PixelFormat::RgbaF32) {
    paintFloats(keyed, statusPixel, out);
  } else {
    paint(keyed, statusLevels(out.format), out);
  }
  return status;
}

}  // namespace kalvetra
