// A frame's colours in the (I, Q) plane of CImagingZEP::RGBtoYIQ2, and what the keyer draws there.
#pragma once

#include <vector>

#include "engine/inspection.h"
#include "media/picture.h"

namespace kalvetra {

// Pixels counted by their chroma, in a square of bins from -reach to +reach on both axes: rows from high to low Q,
// columns from low to high I.
struct ChromaBins {
  static constexpr int kSide = 96;         // bins
  static constexpr double kReach = 160.0;  // no colour is further out

  struct Bin {
    int pixels = 0;
    int red = 0, green = 0, blue = 0;  // sums
  };
  std::vector<Bin> bins = std::vector<Bin>(std::size_t{kSide} * kSide);
};

// Looks at a grid of at most about 200,000 pixels; transparent ones are left out.
ChromaBins binChroma(const Image& picture);

// Chroma of the plate's colours, from a grid of 16 x 9 places.
std::vector<Chroma> sparseChroma(const Image& plate);

}  // namespace kalvetra
