// The colour of the bare screen at each pixel, from all that was seen there over a shot.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/workers.h"
#include "plates/cells.h"
#include "plates/shift.h"

namespace kalvetra::plates {

inline constexpr std::size_t kMostObservations = 60;

// A frame of a shot.
struct ShotView {
  const unsigned char* argb;  // packed; alpha 255 where bare, otherwise 0
  const Cells* cells;         // of what is bare
  const Texture* texture;
  const std::int16_t* fine = nullptr;  // in place of argb: FineColors, without colour where not bare
};

struct Middle {
  std::vector<float> colors;        // red, green, blue of each pixel
  std::vector<unsigned char> seen;  // 1 where the colour was seen often enough to count
  float noise = 0.0f;               // standard deviation of a channel about it, levels
};

// Of at most kMostObservations views, each with its tint undone. Where a shadow comes and goes it is the colour in the
// light: the brightest one that several views agree on. `noise` is a first guess, levels.
Middle middleOf(const std::vector<ShotView>& views, const std::vector<Tint>& tints, int width, int height, float noise,
                const Workers* workers);

}  // namespace kalvetra::plates
