// What a clean plate and the frames of a shot say about each other.
#pragma once

#include <string>
#include <vector>

#include "plates/cells.h"
#include "plates/clean_plate.h"
#include "plates/plane.h"

namespace kalvetra::plates {

// A sentence where a plate's proportions are not the frame's.
std::string wrongSize(int plateWidth, int plateHeight, int frameWidth, int frameHeight);

struct CleanSample {
  ConstFrame picture;               // as it comes, green and blue in their own places
  Plate own;                        // what holds it where the frame had to be resized, otherwise empty
  std::vector<unsigned char> bare;  // a byte a pixel: 128 and above where surely bare screen
  float noise;                      // standard deviation of a channel, levels
};

// All of one size. The plates are of a green screen: see isBlue().
struct CleanView {
  Plate& plate;                      // as it was taken
  std::vector<CleanSample> samples;  // one at least
  Planes fitted;                     // the plate fitted to the first of them
  bool isBlue;                       // green and blue have changed places
};

// Of what is bare.
inline Cells cellsOf(const CleanView& view, const CleanSample& sample) {
  return cellsOf(sample.picture, sample.bare.data(), view.isBlue);
}

// Brings view.plate into the shot's light, fills what is no screen, and judges it: gain, shift in the plate's pixels,
// noise, notes and refusal.
void correct(CleanView& view, CleanPlate& result);

}  // namespace kalvetra::plates
