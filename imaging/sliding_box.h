// Sums over a square window that slides along an image: a fixed number of additions per pixel whatever the radius.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kalvetra {

// `Channels` consecutive bytes of every pixel; `data` points at the first of them in the first pixel.
struct BoxSource {
  const unsigned char* data;
  int width;
  int height;
  std::ptrdiff_t stride;      // bytes from row to row
  std::ptrdiff_t pixelBytes;  // bytes from pixel to pixel
};

// Pixels of the window of `radius` round each position that lie inside 0..size-1.
inline std::vector<int> windowCounts(int size, int radius) {
  std::vector<int> counts(static_cast<std::size_t>(size));
  for (int i = 0; i < size; ++i) {
    const int first = i < radius ? 0 : i - radius;
    const int last = i < size - radius ? i + radius : size - 1;
    counts[static_cast<std::size_t>(i)] = last - first + 1;
  }
  return counts;
}

// A radius beyond the image changes nothing more; capped here, offsets cannot overflow.
inline int effectiveRadius(int width, int height, int radius) { return std::min(radius, std::max(width, height)); }

// Calls write(x, y, sums) for every pixel in raster order, sums being the std::array of the channels' window sums.
// Trap, kept on purpose: on an image that is not larger than the radius the last row (column) never enters a sum,
// though the window counts include it.
template <std::size_t Channels, class Write>
void slideBox(const BoxSource& source, int radius, Write write) {
  const int width = source.width, height = source.height;
  std::vector<std::array<std::int64_t, Channels>> columns(static_cast<std::size_t>(width));
  const auto addRow = [&](int y, int sign) {
    const unsigned char* pixel = source.data + y * source.stride;
    for (auto& column : columns) {
      for (std::size_t c = 0; c < Channels; ++c) column[c] += sign * pixel[c];
      pixel += source.pixelBytes;
    }
  };
  std::array<std::int64_t, Channels> sums;
  const auto addColumn = [&](int x, int sign) {
    for (std::size_t c = 0; c < Channels; ++c) sums[c] += sign * columns[static_cast<std::size_t>(x)][c];
  };

  for (int y = 0; y < std::min(radius, height - 1); ++y) addRow(y, 1);
  for (int y = 0; y < height; ++y) {
    if (y > radius) addRow(y - radius - 1, -1);
    if (y < height - radius) addRow(y + radius, 1);
    sums.fill(0);
    for (int x = 0; x < std::min(radius, width - 1); ++x) addColumn(x, 1);
    for (int x = 0; x < width; ++x) {
      if (x > radius) addColumn(x - radius - 1, -1);
      if (x < width - radius) addColumn(x + radius, 1);
      write(x, y, sums);
    }
  }
}

}  // namespace kalvetra
