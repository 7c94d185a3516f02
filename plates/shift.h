// Whether the bare screen's own structure (folds, marks, uneven paint) lies in the same place in two pictures.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/frame.h"

namespace kalvetra::plates {

// The structure of what counts of a picture: luma between two blurs, at a small size; 0 elsewhere.
struct Texture {
  int width = 0, height = 0;
  std::vector<std::int16_t> values;   // sixteenths of a level, within +-kMostTexture; 0 where it does not count
  std::vector<std::int16_t> counted;  // -1 where it counts, otherwise 0
  float scale = 1.0f;                 // pixels of the picture to one of the texture
};

inline constexpr int kMostTexture = 2047;  // the square times the pixels of a row fits an int

// `counts` has a byte for each pixel of the picture: 128 and above counts. With `isBlue`, green and blue change places.
Texture textureOf(const ConstFrame& picture, const unsigned char* counts, bool isBlue = false);

struct ScreenShift {
  float x = 0.0f, y = 0.0f;      // pixels of the picture, from the first to the second; small ones to a fraction
  float pixels() const;          // its length
  float likeness = 0.0f;         // correlation under it, -1..1
  float likenessInPlace = 0.0f;  // without it
  float contrast = 0.0f;         // standard deviation of the fainter texture, levels
  bool isSure = false;           // more than what noise explains
};

// The best shift of up to about a twentieth of the picture; none where too little counts in both, or where nothing
// correlates: a screen without structure looks the same wherever the camera stands.
ScreenShift shiftBetween(const Texture& first, const Texture& second);

}  // namespace kalvetra::plates
