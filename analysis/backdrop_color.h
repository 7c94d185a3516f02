// Finds the backdrop's colour in the frames of a clip, for users who do not pick one.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

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

struct BackdropColor : MeasuredColor {
  std::size_t examined;  // pixels in all
  // 1 when at least a quarter of the examined pixels are of this colour and no other green is seen. Falls in proportion
  // to that share, and to the part that these pixels are of all green ones.
  double confidence;
  double unevenness;   // of the light: from the brightest to the darkest region of the screen, in percent of the former
  std::string reason;  // one sentence for the user
};

// For users: the share that BackdropFinder::find gave was too small.
std::string noBackdropText(double share);

// Collects frames, then looks for the one green that most of their green pixels share.
class BackdropFinder {
 public:
  // A frame in host order (alpha, red, green, blue), packed. Large frames are examined in a grid of at most about
  // 100,000 pixels; mostly transparent pixels are left out.
  void add(const unsigned char* argb, int width, int height);

  // The backdrop's colour; nothing when less than 1/20 of the examined pixels are of one green. `share`, when given,
  // gets the share that was found, 0..1.
  std::optional<BackdropColor> find(double* share = nullptr) const;

 private:
  struct Pixel {
    unsigned char rgb[3];
    unsigned char region;  // of the frame, 0..63
    YIQ color;
  };
  struct Cluster;
  YIQ densestChroma() const;
  Cluster settle() const;
  double unevennessOf(const Cluster& cluster) const;

  std::vector<Pixel> green_;
  std::size_t examined_ = 0;
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
  std::array<double, 3> sums_{}, yiqSums_{}, yiqSquares_{};
  std::size_t pixels_ = 0;
};

}  // namespace kalvetra
