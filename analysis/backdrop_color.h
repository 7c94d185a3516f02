// Finds the backdrop's colour in the frames of a clip, for users who do not pick one.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "analysis/backdrop_paint.h"
#include "analysis/measured_color.h"

namespace kalvetra {

struct BackdropColor : MeasuredColor {
  std::size_t examined;  // pixels in all
  int screen;            // that the key takes it for, as KeySettings has it: 0 green, 1 blue
  // 1 when at least a quarter of the examined pixels are of this colour, no other paint of its kind (green, yellow,
  // blue) is seen, and it is smooth, strong and reaches the picture's edges as a screen does. Falls in proportion to
  // that share, to the part that these pixels are of all of their kind, and with each of the others; see paint::Look.
  double confidence;
  double unevenness;   // of the light: from the brightest to the darkest region of the screen, in percent of the former
  std::string reason;  // for the user: one sentence, and one more for a second backdrop or for blue clothes
};

// Collects frames, then looks for the one green, yellow or blue that a smooth part of them shares.
class BackdropFinder {
 public:
  // A frame in host order (alpha, red, green, blue), packed. Large frames are examined in a grid of at most about
  // 100,000 pixels; mostly transparent pixels are left out.
  void add(const unsigned char* argb, int width, int height);

  // The backdrop's colour; nothing when less than 1/20 of the examined pixels are of one paint that could be a screen.
  // `missed`, when given, then gets a sentence without its stop: what was seen, and that a colour can be named.
  std::optional<BackdropColor> find(std::string* missed = nullptr) const;

  // For a key colour that was named rather than found: a sentence where hardly any of the pictures is of it, otherwise
  // nothing.
  std::string noteOnNamed(int red, int green, int blue) const;

 private:
  paint::Points points_;
};

}  // namespace kalvetra
