// Pictures as coarse grids of colours, to compare their light by: cheap, and enough for what a lamp does.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "engine/frame.h"
#include "plates/levels.h"
#include "plates/plate.h"

namespace kalvetra::plates {

inline float sumOf(const Rgb& c) { return c[0] + c[1] + c[2]; }

// The square of how far two colours' paint lies apart, whatever their light: of the shares of red and blue in the sum.
float paintOff(const Rgb& a, const Rgb& b);

// The middle one. They may not be empty, and are put in another order.
float medianOf(std::vector<float>& values);

inline constexpr int kCellColumns = 48, kCellRows = 27;  // over any picture, whatever its proportions
inline constexpr std::size_t kCells = std::size_t{kCellColumns} * kCellRows;

struct Cell {
  Rgb color{};          // mean of its samples that count, or of all where none does
  float weight = 0.0f;  // share of its samples that count, 0..1
};

using Cells = std::vector<Cell>;  // row by row, kCells of them; none of an empty picture

// Of 4 x 4 samples a cell, each one pixel. `counts`, where given, has a byte for each pixel of the picture: samples of
// less than 128 do not count. With `isBlue`, green and blue change places.
Cells cellsOf(const ConstFrame& picture, const unsigned char* counts = nullptr, bool isBlue = false);

// What light makes of a colour. A gain for all channels, and for each bright one its own; for a dark one rather an
// offset, as its ratio says little.
struct Tint {
  Rgb gain{1.0f, 1.0f, 1.0f};
  Rgb offset{};  // levels
  float of(float level, std::size_t c) const { return gain[c] * level + offset[c]; }
  float undone(float level, std::size_t c) const { return (level - offset[c]) / gain[c]; }
  bool operator==(const Tint&) const = default;
};

// The light of one picture in terms of another.
struct Light {
  Tint tint;
  Rgb level{};           // of the screen in the other picture, mean
  float screen = 0.0f;   // share of the cells that show anything of the screen's kind
  float matched = 1.0f;  // of these, the share that is the other picture under that tint, to about a tenth
  float close = 1.0f;    // and to about a twentieth
  float shaded = 1.0f;   // the same, or the same paint in a shadow
};

// A robust ratio over the places where `picture` shows the screen of `plate`: subjects, shadows and other colours count
// for little or nothing. Cells without weight in either are left out. Continuous in the colours but for single cells,
// and 1 where too little of the screen is seen.
Light lightOf(const Cells& picture, const Cells& plate);

// What of the tint is more than rounding and an estimate's own error: nothing for a channel whose mean it changes by up
// to a quarter of a level, all of it from three quarters on, continuous between.
Tint significantTint(const Light& light);

// Colours a + share * (b - a), in whole steps of a 256th where they are bytes; plates of one size.
Plate mixedPlate(const Plate& a, const Plate& b, float share);

// The levels that pictures hold: those of bytes, and what their cells have beyond.
struct ColorRange {
  Rgb least{}, most{255.0f, 255.0f, 255.0f};
  void widen(const Cells& cells);
  float of(float level, std::size_t c) const { return std::clamp(level, least[c], most[c]); }
};

// Held to `range`: where a camera clips the screen, more light makes it no brighter.
Plate tintedPlate(const Plate& plate, const Tint& tint, const ColorRange& range);

}  // namespace kalvetra::plates
