#include "compositing/float_scaling.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kalvetra {

namespace {

// What of a line's samples makes one sample of the scaled line.
struct Taps {
  int first;  // places outside the line stand for its ends
  std::vector<float> weights;
};

double bicubic(double distance) {
  constexpr double kC = 0.6;
  const double x = std::abs(distance);
  if (x < 1.0) return ((2.0 - kC) * x - (3.0 - kC)) * x * x + 1.0;
  return x < 2.0 ? ((-kC * x + 5.0 * kC) * x - 8.0 * kC) * x + 4.0 * kC : 0.0;
}

std::vector<Taps> tapsOf(int from, int to) {
  const double step = static_cast<double>(from) / to, spread = std::max(step, 1.0);
  std::vector<Taps> all;
  for (int i = 0; i < to; ++i) {
    const double center = (i + 0.5) * step - 0.5;
    Taps taps{static_cast<int>(std::floor(center - 2.0 * spread)) + 1, {}};
    const int last = static_cast<int>(std::floor(center + 2.0 * spread));
    std::vector<double> weights;
    double sum = 0.0;
    for (int place = taps.first; place <= last; ++place)
      sum += weights.emplace_back(bicubic((place - center) / spread));
    for (const double weight : weights) taps.weights.push_back(static_cast<float>(weight / sum));
    all.push_back(std::move(taps));
  }
  return all;
}

int within(int place, int count) { return std::clamp(place, 0, count - 1); }

// Rows of the area, weighted, as one of pixels of four floats.
void mixRows(const Image& picture, const PictureArea& area, const Taps& taps, std::vector<float>& line) {
  std::fill(line.begin(), line.end(), 0.0f);
  int place = taps.first;
  for (const float weight : taps.weights) {
    const float* row = picture.floats(area.y + within(place++, area.height)) + std::ptrdiff_t{4} * area.x;
    for (std::size_t i = 0; i < line.size(); ++i) line[i] += weight * row[i];
  }
}

}  // namespace

Image scaledFloats(const Image& picture, const PictureArea& area, int width, int height) {
  const std::vector<Taps> columns = tapsOf(area.width, width), rows = tapsOf(area.height, height);
  std::vector<float> line(std::size_t{4} * static_cast<std::size_t>(area.width));
  Image scaled(width, height, PixelFormat::RgbaF32);
  for (int y = 0; y < height; ++y) {
    mixRows(picture, area, rows[static_cast<std::size_t>(y)], line);
    float* out = scaled.floats(y);
    for (const Taps& taps : columns) {
      std::fill_n(out, 3, 0.0f);
      int place = taps.first;
      for (const float weight : taps.weights) {
        const float* pixel = line.data() + std::ptrdiff_t{4} * within(place++, area.width);
        for (int c = 0; c < 3; ++c) out[c] += weight * pixel[c];
      }
      out[3] = 1.0f;
      out += 4;
    }
  }
  return scaled;
}

}  // namespace kalvetra
