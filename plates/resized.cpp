#include "plates/resized.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "engine/pixel_formats.h"

namespace kalvetra::plates {

std::vector<unsigned char> resized(const ConstFrame& picture, int width, int height) {
  const auto rowBytes = static_cast<std::size_t>(width) * kPixelBytes;
  std::vector<unsigned char> small(rowBytes * static_cast<std::size_t>(height));
  std::vector<unsigned char> row(static_cast<std::size_t>(picture.width) * kPixelBytes);
  std::vector<std::uint32_t> sums(rowBytes);
  const auto first = [](int i, int from, int to) { return static_cast<int>(std::int64_t{i} * from / to); };
  for (int y = 0; y < height; ++y) {
    std::fill(sums.begin(), sums.end(), 0u);
    const int top = first(y, picture.height, height);
    const int bottom = std::max(first(y + 1, picture.height, height), top + 1);
    for (int line = top; line < bottom; ++line) {
      readRow(picture, line, row.data());
      for (int x = 0; x < width; ++x) {
        const int left = first(x, picture.width, width);
        const int right = std::max(first(x + 1, picture.width, width), left + 1);
        for (int at = left; at < right; ++at) {
          for (std::size_t c = 0; c < 4; ++c)
            sums[static_cast<std::size_t>(x) * 4 + c] += row[static_cast<std::size_t>(at) * 4 + c];
        }
      }
    }
    for (int x = 0; x < width; ++x) {
      const int left = first(x, picture.width, width);
      const auto area =
          static_cast<std::uint32_t>((std::max(first(x + 1, picture.width, width), left + 1) - left) * (bottom - top));
      for (std::size_t c = 0; c < 4; ++c) {
        const std::size_t i = static_cast<std::size_t>(x) * 4 + c;
        small[static_cast<std::size_t>(y) * rowBytes + i] = static_cast<unsigned char>((sums[i] + area / 2) / area);
      }
    }
  }
  return small;
}

bool isBlue(const Plate& plate) {
  std::uint64_t green = 0, blue = 0;
  for (std::size_t i = 0; i + kPixelBytes <= plate.argb.size(); i += kPixelBytes) {
    green += plate.argb[i + 2];
    blue += plate.argb[i + 3];
  }
  return blue > green;
}

void swapGreenAndBlue(std::vector<unsigned char>& argb) {
  for (std::size_t i = 0; i + kPixelBytes <= argb.size(); i += kPixelBytes) std::swap(argb[i + 2], argb[i + 3]);
}

}  // namespace kalvetra::plates
