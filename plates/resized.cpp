#include "plates/resized.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "plates/levels.h"

namespace kalvetra::plates {

Plate resized(const ConstFrame& picture, int width, int height, PixelFormat format) {
  Plate small = blankPlate(format, width, height);
  const auto rowValues = static_cast<std::size_t>(width) * 4;
  LevelRows rows(picture);
  std::vector<double> sums(rowValues);
  const auto first = [](int i, int from, int to) { return static_cast<int>(std::int64_t{i} * from / to); };
  for (int y = 0; y < height; ++y) {
    std::fill(sums.begin(), sums.end(), 0.0);
    const int top = first(y, picture.height, height);
    const int bottom = std::max(first(y + 1, picture.height, height), top + 1);
    for (int line = top; line < bottom; ++line) {
      const float* const row = rows.row(line);
      for (int x = 0; x < width; ++x) {
        const int left = first(x, picture.width, width);
        const int right = std::max(first(x + 1, picture.width, width), left + 1);
        for (int at = left; at < right; ++at) {
          for (std::size_t c = 0; c < 4; ++c)
            sums[static_cast<std::size_t>(x) * 4 + c] += static_cast<double>(row[static_cast<std::size_t>(at) * 4 + c]);
        }
      }
    }
    for (int x = 0; x < width; ++x) {
      const int left = first(x, picture.width, width);
      const double area = (std::max(first(x + 1, picture.width, width), left + 1) - left) * (bottom - top);
      const std::size_t from = static_cast<std::size_t>(x) * 4, to = static_cast<std::size_t>(y) * rowValues + from;
      for (std::size_t c = 0; c < 4; ++c) {
        const double mean = sums[from + c] / area;
        if (format == PixelFormat::RgbaF32) {
          small.rgba[to + (c + 3) % 4] = static_cast<float>(mean / 255.0);
        } else {
          small.argb[to + c] = static_cast<unsigned char>(std::clamp(mean + 0.5, 0.0, 255.0));
        }
      }
    }
  }
  return small;
}

bool isBlue(const Plate& plate) {
  double green = 0.0, blue = 0.0;
  for (std::size_t i = 0; i < plate.pixels(); ++i) {
    const Rgb color = colorOf(plate, i);
    green += static_cast<double>(color[1]);
    blue += static_cast<double>(color[2]);
  }
  return blue > green;
}

void swapGreenAndBlue(Plate& plate) {
  for (std::size_t i = 0; i < plate.argb.size(); i += kPixelBytes) std::swap(plate.argb[i + 2], plate.argb[i + 3]);
  for (std::size_t i = 0; i < plate.rgba.size(); i += 4) std::swap(plate.rgba[i + 1], plate.rgba[i + 2]);
}

}  // namespace kalvetra::plates
