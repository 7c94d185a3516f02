#include "plates/fit_picture.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

#include "engine/bands.h"
#include "plates/levels.h"

namespace kalvetra::plates {

namespace {

// The pixels that one pixel of a smaller row covers, the first and the last of them in part.
struct Cover {
  Cover(int i, int small, int large) {
    const double scale = static_cast<double>(large) / small;
    const double from = i * scale, to = (i + 1) * scale;
    first = std::min(static_cast<int>(from), large - 1);
    end = std::clamp(static_cast<int>(std::ceil(to - 1e-9)), first + 1, large);
    headShare = static_cast<float>(std::min(to, first + 1.0) - from);
    tailShare = static_cast<float>(to - (end - 1));
    whole = static_cast<float>(1.0 / scale);
  }
  float shareOf(int pixel) const { return whole * (pixel == first ? headShare : pixel == end - 1 ? tailShare : 1.0f); }
  int first, end;
  float headShare, tailShare, whole;
};

// Of one band: the row as it comes, and the weighted sum of rows.
struct RowSums {
  explicit RowSums(const ConstFrame& frame) : rows(frame), sums(static_cast<std::size_t>(frame.width) * kPixelBytes) {}
  LevelRows rows;
  std::vector<float> sums;

  void clear() { std::fill(sums.begin(), sums.end(), 0.0f); }
  void add(int y, float share) {
    const float* const row = rows.row(y);
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += share * row[i];
  }
};

}  // namespace

Picture reducedPicture(const ConstFrame& frame, int longest, const Workers* workers) {
  const double scale = std::min(1.0, static_cast<double>(longest) / std::max(frame.width, frame.height));
  const int width = std::max(1, static_cast<int>(frame.width * scale + 0.5));
  const int height = std::max(1, static_cast<int>(frame.height * scale + 0.5));
  Picture picture{{Plane(width, height), Plane(width, height), Plane(width, height)}, Plane(width, height), 1.0f};
  picture.unit = static_cast<float>(std::sqrt(static_cast<double>(width) * height / (1920.0 * 1080.0)));
  std::vector<Cover> columns;
  for (int x = 0; x < width; ++x) columns.emplace_back(x, width, frame.width);
  const Bands bands(workers, height);
  std::vector<RowSums> scratch(static_cast<std::size_t>(bands.count()), RowSums(frame));
  bands.run([&](int band, int first, int end) {
    RowSums& rows = scratch[static_cast<std::size_t>(band)];
    for (int y = first; y < end; ++y) {
      const Cover lines(y, height, frame.height);
      rows.clear();
      for (int line = lines.first; line < lines.end; ++line) rows.add(line, lines.shareOf(line));
      for (int x = 0; x < width; ++x) {
        const Cover& cover = columns[static_cast<std::size_t>(x)];
        float sum[kPixelBytes] = {};
        for (int column = cover.first; column < cover.end; ++column) {
          const float share = cover.shareOf(column);
          for (int c = 0; c < kPixelBytes; ++c)
            sum[c] += share * rows.sums[static_cast<std::size_t>(column * kPixelBytes + c)];
        }
        picture.seen.row(y)[x] = smoothStep(0.95f, 1.0f, sum[0] / 255.0f);
        for (std::size_t c = 0; c < 3; ++c) picture.color[c].row(y)[x] = sum[c + 1];
      }
    }
  });
  return picture;
}

float binaryLog(float x) {
  const std::uint32_t bits = std::bit_cast<std::uint32_t>(x);
  int exponent = static_cast<int>(bits >> 23) - 127;
  float mantissa = std::bit_cast<float>((bits & 0x7fffffu) | 0x3f800000u);  // 1 up to 2
  if (mantissa > 1.41421356f) {
    mantissa *= 0.5f;
    ++exponent;
  }
  // ln m = 2 artanh z; z lies within a sixth of 0.
  const float z = (mantissa - 1.0f) / (mantissa + 1.0f), zz = z * z;
  constexpr float kScale = 2.88539008f;  // 2 / ln 2
  return static_cast<float>(exponent) + kScale * z * (1.0f + zz * (1.0f / 3.0f + zz * (0.2f + zz * (1.0f / 7.0f))));
}

PaintAndLight partedPicture(const Planes& soft, float keySum, const Workers* workers) {
  const int width = soft[0].width, height = soft[0].height;
  PaintAndLight parted{Plane(width, height), Plane(width, height), Plane(width, height)};
  Bands(workers, height).run([&](int, int first, int end) {
    for (std::size_t i = soft[0].index(0, first); i < soft[0].index(0, end); ++i) {
      const float sum = std::max(soft[0][i] + soft[1][i] + soft[2][i], kLeastSum);
      parted.red[i] = soft[0][i] / sum;
      parted.blue[i] = soft[2][i] / sum;
      parted.light[i] = binaryLog(sum / keySum);
    }
  });
  return parted;
}

float noiseOf(const ConstFrame& frame, const Plane& bare) {
  constexpr int kRows = 128, kApart = 2;
  constexpr float kMost = 32.0f;  // levels; a larger difference is an edge
  LevelRows rows(frame);
  double squares = 0.0, count = 0.0;
  const int step = std::max(1, frame.height / kRows);
  for (int y = 0; y < frame.height; y += step) {
    const float* const row = rows.row(y);
    const float* known = bare.row(static_cast<int>(std::int64_t{y} * bare.height / frame.height));
    for (int x = 0; x + kApart < frame.width; ++x) {
      if (known[std::int64_t{x} * bare.width / frame.width] < 0.9f) continue;
      for (int c = 1; c < kPixelBytes; ++c) {
        const float difference = row[x * kPixelBytes + c] - row[(x + kApart) * kPixelBytes + c];
        if (std::abs(difference) > kMost) continue;
        squares += static_cast<double>(difference * difference);
        count += 1.0;
      }
    }
  }
  return count == 0.0 ? 0.0f : static_cast<float>(std::sqrt(squares / (2.0 * count)));
}

}  // namespace kalvetra::plates
