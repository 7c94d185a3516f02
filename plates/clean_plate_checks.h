// What a clean plate and the frames of a shot say about each other.
#pragma once

#include <string>
#include <vector>

#include "plates/clean_plate.h"
#include "plates/plane.h"

namespace kalvetra::plates {

// A sentence where a plate's proportions are not the frame's.
std::string wrongSize(int plateWidth, int plateHeight, int frameWidth, int frameHeight);

struct CleanSample {
  std::vector<unsigned char> argb;  // packed
  std::vector<unsigned char> bare;  // a byte a pixel: 128 and above where surely bare screen
  float noise;                      // standard deviation of a channel, levels
};

// All of one size, and of a green screen: see isBlue().
struct CleanView {
  Plate& plate;                      // as it was taken
  std::vector<CleanSample> samples;  // one at least
  Planes fitted;                     // the plate fitted to the first of them
  bool isBlue;                       // green and blue have changed places
};

inline ConstFrame pictureOf(const CleanView& view, const std::vector<unsigned char>& argb) {
  return packedFrame(argb.data(), view.plate.width, view.plate.height);
}

// Brings view.plate into the shot's light, fills what is no screen, and judges it: gain, shift in the plate's pixels,
// noise, notes and refusal.
void correct(CleanView& view, CleanPlate& result);

}  // namespace kalvetra::plates
