#include "preview/clip/reduced_picture.h"

#include <algorithm>
#include <array>

#include "parameters/parameter_table.h"

namespace kalvetra {

namespace {

// The stretch of source pixels below one pixel.
struct Span {
  int first, end;
};

Span spanOf(int i, int of, int side) {
  const auto edge = [&](std::int64_t n) { return static_cast<int>(n * side / of); };
  return {edge(i), std::max(edge(i + 1), edge(i) + 1)};
}

void averageFloats(const Image& picture, Span columns, Span rows, float* out) {
  std::array<double, 4> sums{};  // red, green, blue, alpha
  for (int y = rows.first; y < rows.end; ++y) {
    const float* pixel = picture.floats(y) + std::ptrdiff_t{4} * columns.first;
    for (int x = columns.first; x < columns.end; ++x, pixel += 4) {
      for (std::size_t c = 0; c < 3; ++c) sums[c] += double{pixel[3]} * double{pixel[c]};
      sums[3] += double{pixel[3]};
    }
  }
  const double pixels = static_cast<double>(columns.end - columns.first) * (rows.end - rows.first);
  for (std::size_t c = 0; c < 3; ++c) out[c] = sums[3] > 0.0 ? static_cast<float>(sums[c] / sums[3]) : 0.0f;
  out[3] = static_cast<float>(sums[3] / pixels);
}

template <class Sum>
void average(const Image& picture, Span columns, Span rows, unsigned char* out) {
  std::array<Sum, 4> sums{};
  for (int y = rows.first; y < rows.end; ++y) {
    const unsigned char* pixel = picture.row(y) + std::ptrdiff_t{4} * columns.first;
    for (int x = columns.first; x < columns.end; ++x, pixel += 4) {
      const std::uint32_t alpha = pixel[0];
      sums[0] += alpha;
      for (std::size_t c = 1; c < 4; ++c) sums[c] += alpha * pixel[c];
    }
  }
  const auto pixels = static_cast<Sum>((columns.end - columns.first) * (rows.end - rows.first));
  out[0] = static_cast<unsigned char>((sums[0] + pixels / 2) / pixels);
  const Sum weight = std::max<Sum>(sums[0], 1);
  for (std::size_t c = 1; c < 4; ++c) out[c] = static_cast<unsigned char>((sums[c] + weight / 2) / weight);
}

}  // namespace

Image averaged(const Image& picture, int width, int height) {
  Image small(width, height, picture.format);
  // As long as its sums hold a block of weighted pixels, 32 bits are twice as fast.
  const bool few = (picture.width / width + 2.0) * (picture.height / height + 2.0) < 4294967295.0 / (255 * 255);
  const auto averageOf = few ? average<std::uint32_t> : average<std::uint64_t>;
  for (int y = 0; y < height; ++y) {
    const Span rows = spanOf(y, height, picture.height);
    for (int x = 0; x < width; ++x) {
      const Span columns = spanOf(x, width, picture.width);
      if (picture.isDeep()) {
        averageFloats(picture, columns, rows, small.floats(y) + std::ptrdiff_t{4} * x);
      } else {
        averageOf(picture, columns, rows, small.row(y) + std::ptrdiff_t{4} * x);
      }
    }
  }
  return small;
}

KeySettings reducedSettings(KeySettings settings, int scale) {
  for (const Parameter& p : kParameters) {
    if (p.unit == Unit::Pixels) settings.*p.value = std::max((settings.*p.value + scale / 2) / scale, p.minimum);
  }
  return settings;
}

}  // namespace kalvetra
