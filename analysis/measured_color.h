// Colours read off pictures.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "imaging/CImagingZEP.h"

namespace kalvetra {

// A colour read off pictures, and how its pixels scatter about it.
struct MeasuredColor {
  unsigned char red;
  unsigned char green;
  unsigned char blue;
  std::size_t pixels;   // that it is the mean of
  double lumaSpread;    // standard deviation of their luminance, in levels
  double chromaSpread;  // their root mean square distance in the (I, Q) plane of CImagingZEP::RGBtoYIQ2
};

// Pixels summed up, to be told as one colour.
class ColorSums {
 public:
  void add(const unsigned char* rgb, YIQ color);
  std::size_t count() const { return count_; }
  // These need at least one pixel. The mean chroma, and all of it.
  double meanI() const { return yiq_[1] / static_cast<double>(count_); }
  double meanQ() const { return yiq_[2] / static_cast<double>(count_); }
  MeasuredColor measured() const;

 private:
  std::array<double, 3> rgb_{}, yiq_{}, squares_{};
  std::size_t count_ = 0;
};

// An area of a picture, in pixels.
struct Area {
  int left, top, width, height;
};

// Averages one area over several frames of one size.
class AreaMean {
 public:
  // The area has to lie inside the frame, which is packed and in host order.
  void add(const unsigned char* argb, int frameWidth, const Area& area);
  // Nothing before the first frame.
  std::optional<MeasuredColor> mean() const;

 private:
  ColorSums sums_;
};

}  // namespace kalvetra
