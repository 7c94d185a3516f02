#include "analysis/measured_color.h"

#include <algorithm>
#include <cmath>

namespace kalvetra {

void ColorSums::add(const unsigned char* rgb, YIQ color) {
  const std::array<double, 3> yiq{static_cast<double>(color.Y), static_cast<double>(color.I),
                                  static_cast<double>(color.Q)};
  for (std::size_t c = 0; c < 3; ++c) {
    rgb_[c] += rgb[c];
    yiq_[c] += yiq[c];
    squares_[c] += yiq[c] * yiq[c];
  }
  ++count_;
}

MeasuredColor ColorSums::measured() const {
  const auto count = static_cast<double>(count_);
  const auto mean = [&](std::size_t c) { return static_cast<unsigned char>(rgb_[c] / count + 0.5); };
  const auto deviation = [&](std::size_t c) {
    return std::sqrt(std::max(squares_[c] / count - (yiq_[c] / count) * (yiq_[c] / count), 0.0));
  };
  return {mean(0), mean(1), mean(2), count_, deviation(0), std::hypot(deviation(1), deviation(2))};
}

void AreaMean::add(const unsigned char* argb, int frameWidth, const Area& area) {
  CImagingZEP imaging;
  for (int y = area.top; y < area.top + area.height; ++y) {
    for (int x = area.left; x < area.left + area.width; ++x) {
      const unsigned char* p = argb + (std::ptrdiff_t{y} * frameWidth + x) * 4;
      sums_.add(p + 1, imaging.RGBtoYIQ2(p[1], p[2], p[3]));
    }
  }
}

std::optional<MeasuredColor> AreaMean::mean() const {
  if (sums_.count() == 0) return std::nullopt;
  return sums_.measured();
}

}  // namespace kalvetra
