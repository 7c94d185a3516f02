#include "engine/pixel_formats.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace kalvetra {

namespace {

// Turns a pixel, read as a whole, so that its last byte in memory comes first.
std::uint32_t lastByteFirst(std::uint32_t pixel) {
  return std::endian::native == std::endian::little ? std::rotl(pixel, 8) : std::rotr(pixel, 8);
}
std::uint32_t firstByteLast(std::uint32_t pixel) {
  return std::endian::native == std::endian::little ? std::rotr(pixel, 8) : std::rotl(pixel, 8);
}

std::uint32_t reversed(std::uint32_t pixel) {
  return (pixel << 24) | (pixel & 0xFF00u) << 8 | (pixel >> 8 & 0xFF00u) | pixel >> 24;
}

template <class Change>
void changeEach(const unsigned char* from, unsigned char* to, int pixels, Change change) {
  for (int i = 0; i < pixels; ++i, from += kPixelBytes, to += kPixelBytes) {
    std::uint32_t pixel;
    std::memcpy(&pixel, from, sizeof pixel);
    pixel = change(pixel);
    std::memcpy(to, &pixel, sizeof pixel);
  }
}

}  // namespace

void readRow(const ConstFrame& frame, int y, unsigned char* argb) {
  const unsigned char* row = frame.row(y);
  switch (frame.format) {
    case PixelFormat::Argb8:
      std::memmove(argb, row, static_cast<std::size_t>(frame.width) * kPixelBytes);
      break;
    case PixelFormat::Bgra8:
      changeEach(row, argb, frame.width, reversed);
      break;
    case PixelFormat::Rgba8:
      changeEach(row, argb, frame.width, lastByteFirst);
      break;
    case PixelFormat::RgbaF32:
      std::memset(argb, 0, static_cast<std::size_t>(frame.width) * kPixelBytes);  // for deep/render.h
      return;
  }
  if (frame.premultiplied) unpremultiply(argb, static_cast<std::size_t>(frame.width));
}

void writeRow(const Frame& frame, int y, const unsigned char* argb) {
  unsigned char* row = frame.row(y);
  const auto pixels = static_cast<std::size_t>(frame.width);
  if (row != argb) std::memmove(row, argb, pixels * kPixelBytes);
  if (frame.premultiplied) premultiply(row, pixels);
  if (frame.format == PixelFormat::Bgra8) changeEach(row, row, frame.width, reversed);
  if (frame.format == PixelFormat::Rgba8) changeEach(row, row, frame.width, firstByteLast);
}

void premultiply(unsigned char* argb, std::size_t pixels) {
  for (; pixels > 0; --pixels, argb += kPixelBytes) {
    for (int c = 1; c < 4; ++c) argb[c] = static_cast<unsigned char>(argb[c] * argb[0] / 255);
  }
}

void unpremultiply(unsigned char* argb, std::size_t pixels) {
  for (; pixels > 0; --pixels, argb += kPixelBytes) {
    const int alpha = argb[0];
    for (int c = 1; c < 4; ++c) {
      argb[c] = alpha == 0 ? 0 : static_cast<unsigned char>(std::min((argb[c] * 255 + alpha / 2) / alpha, 255));
    }
  }
}

}  // namespace kalvetra
