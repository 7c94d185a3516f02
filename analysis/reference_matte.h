// A slow, careful estimate of what the key of one picture should be, wherever the picture itself shows it: settings
// are judged by how near the engine comes to it.
#pragma once

#include <cstddef>
#include <vector>

#include "analysis/mixture.h"

namespace kalvetra {

enum class Region {
  Screen,  // bare backdrop, away from anything else
  Core,    // solid subject, away from its outline
  Veil,    // a thick layer of the screen's own hue, only paler or greyer: taken for something that lets it through
  Shade,   // the screen under less light, or behind something thin and dark
  Edge,    // a mixture of a nearby core's colour and the screen behind it
};
inline constexpr int kRegions = 5;

// What one pixel should become.
struct Target {
  std::size_t pixel;  // index in the picture
  Region region;
  float alpha;  // 0..1
  Rgb color;    // times alpha, 0..255
};

struct ReferenceMatte {
  std::vector<Target> targets;             // an even sample of each region
  std::array<std::size_t, kRegions> area;  // pixels of each region in the picture
  std::size_t pixels = 0;                  // of the whole picture
  float noise = 0.0f;                      // of the screen, standard deviation of a channel in levels
  float unevenness = 0.0f;                 // of its light, from dark to bright in percent of the latter
};

// `argb` and the bare `backdrop` behind it are of one size, packed and in host order. `noise` is the standard deviation
// of a channel about the backdrop, in levels.
ReferenceMatte makeReferenceMatte(const unsigned char* argb, const unsigned char* backdrop, int width, int height,
                                  float noise);

}  // namespace kalvetra
