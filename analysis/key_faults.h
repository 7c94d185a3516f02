// What is wrong with a key, seen beside its source, without knowing the true one.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "analysis/matte_quality.h"
#include "engine/frame.h"
#include "engine/workers.h"

namespace kalvetra {

// Of one picture. How many levels of 255 each puts a pixel wrong by where the key is laid over another background, on
// average over the pixels that are not bare screen; haze over those that are. All are 0 or more, and less is better.
struct KeyFaults {
  double haze = 0.0;        // bare screen that is not quite clear
  double filled = 0.0;      // what lets the screen through, and was made solid: veils, glass, hair, motion
  double eaten = 0.0;       // what hides the screen, and was made clear
  double screenLeft = 0.0;  // the screen's colour, within a few pixels of where the key turns clear
  double spillLeft = 0.0;   // the same, further inside
  double opposite = 0.0;    // the screen's opposite colour where the source has none: violet rims
  double turned = 0.0;      // colours changed that are far from the screen's in the source
  double blocks = 0.0;      // steps of the matte on the 8-pixel grid of a codec's blocks that the source's light lacks
  double bare = 0.0;        // share of the picture that is bare screen, 0..1
  double total = 0.0;       // all of these together over the whole picture: of two keys of a shot, the less the better
};

// Source and keyed picture, both packed Argb8 of one size and at least 1 x 1, straight. `keyColor` is 0xrrggbb,
// `screen` as KeySettings has it. The same figures for any workers. Throws std::bad_alloc.
KeyFaults keyFaults(const ConstFrame& source, const ConstFrame& keyed, int keyColor, int screen,
                    const Workers* workers = nullptr);

// How a fault is told to users: the word for options and programs, and for tables.
struct FaultRow {
  const char* slug;
  const char* name;
  double KeyFaults::*value;
};
inline constexpr std::array<FaultRow, 9> kFaultRows{{{"error", "error", &KeyFaults::total},
                                                     {"bare", "bare screen", &KeyFaults::haze},
                                                     {"filled", "filled", &KeyFaults::filled},
                                                     {"eaten", "eaten", &KeyFaults::eaten},
                                                     {"rim", "rim colour", &KeyFaults::screenLeft},
                                                     {"spill", "spill", &KeyFaults::spillLeft},
                                                     {"opposite", "opposite", &KeyFaults::opposite},
                                                     {"turned", "turned", &KeyFaults::turned},
                                                     {"blocks", "blocks", &KeyFaults::blocks}}};

// The faults of several pictures: by row the mean, and the worst picture with its number.
class FaultReport {
 public:
  void add(const KeyFaults& faults, std::int64_t frame);
  std::int64_t pictures() const { return pictures_; }
  // As in kFaultRows.
  const std::array<MatteFigure, kFaultRows.size()>& figures() const { return figures_; }

 private:
  std::array<MatteFigure, kFaultRows.size()> figures_;
  std::int64_t pictures_ = 0;
};

}  // namespace kalvetra
