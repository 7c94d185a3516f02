// Finds the backdrop's colour in the frames of a clip, for users who do not pick one.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "imaging/CImagingZEP.h"

namespace kalvetra {

struct BackdropColor {
  unsigned char red;
  unsigned char green;
  unsigned char blue;
  std::size_t pixels;    // that are of about this colour
  std::size_t examined;  // in all
};

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
    float I;
    float Q;
  };
  YIQ densestChroma() const;

  std::vector<Pixel> green_;
  std::size_t examined_ = 0;
};

}  // namespace kalvetra
