#include "plates/levels.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "engine/pixel_formats.h"

namespace kalvetra::plates {

namespace {

constexpr float kLargestCode = 65504.0f;  // times white: the largest number of half precision

float finite(float v) { return v == v ? std::clamp(v, -kLargestCode, kLargestCode) : 0.0f; }

}  // namespace

std::array<float, 4> levelsAt(const ConstFrame& frame, int x, int y) {
  float rgba[4];
  std::memcpy(rgba, frame.row(y) + std::ptrdiff_t{x} * pixelBytes(frame.format), sizeof rgba);
  const float alpha = std::clamp(finite(rgba[3]), 0.0f, 1.0f);
  std::array<float, 4> levels{255.0f * alpha};
  for (std::size_t c = 0; c < 3; ++c) {
    float v = finite(rgba[c]);
    if (frame.premultiplied) v = alpha > 0.0f ? finite(v / alpha) : 0.0f;
    levels[c + 1] = 255.0f * v;
  }
  return levels;
}

LevelRows::LevelRows(const ConstFrame& frame, bool isBlue)
    : frame_(frame), isBlue_(isBlue), levels_(4 * static_cast<std::size_t>(std::max(frame.width, 0))) {
  if (frame.format != PixelFormat::RgbaF32) bytes_.resize(levels_.size());
}

const float* LevelRows::row(int y) {
  if (bytes_.empty()) {
    for (int x = 0; x < frame_.width; ++x) {
      const std::array<float, 4> levels = levelsAt(frame_, x, y);
      std::copy(levels.begin(), levels.end(), &levels_[4 * static_cast<std::size_t>(x)]);
    }
  } else {
    readRow(frame_, y, bytes_.data());
    for (std::size_t i = 0; i < levels_.size(); ++i) levels_[i] = static_cast<float>(bytes_[i]);
  }
  for (std::size_t i = 0; isBlue_ && i < levels_.size(); i += 4) std::swap(levels_[i + 2], levels_[i + 3]);
  return levels_.data();
}

Plate blankPlate(PixelFormat format, int width, int height) {
  Plate plate;
  plate.width = width;
  plate.height = height;
  const std::size_t values = 4 * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  if (format == PixelFormat::RgbaF32) {
    plate.rgba.resize(values);
    for (std::size_t i = 3; i < values; i += 4) plate.rgba[i] = 1.0f;
  } else {
    plate.argb.resize(values);
    for (std::size_t i = 0; i < values; i += 4) plate.argb[i] = 255;
  }
  return plate;
}

FineColors fineColors(const Plate& plate, const unsigned char* counts) {
  constexpr float kMost = 32767.0f;
  FineColors fine(plate.pixels() * 3);
  for (std::size_t i = 0; i < plate.pixels(); ++i) {
    const Rgb color = colorOf(plate, i);
    for (std::size_t c = 0; c < 3; ++c) {
      const float steps = std::clamp(kFineSteps * color[c], -kMost, kMost);
      fine[i * 3 + c] = static_cast<std::int16_t>(steps < 0.0f ? steps - 0.5f : steps + 0.5f);
    }
    if (counts != nullptr && counts[i] == 0) fine[i * 3] = kNoColor;
  }
  return fine;
}

}  // namespace kalvetra::plates
