// A picture of the bare backdrop of a whole frame, to key against in place of the engine's own estimate.
#pragma once

#include <cstddef>
#include <vector>

#include "engine/render.h"

namespace kalvetra {

struct Plate {
  std::vector<unsigned char> argb;  // packed, opaque; a screen of green or blue as it looks
  int width = 0;                    // pixels; the plate may be smaller than the frame, whose whole it shows
  int height = 0;
  float noise = 0.0f;         // standard deviation of a channel about the plate in the frame, levels
  bool keepsShadows = false;  // what is darker than the plate is kept as a shadow
  // In place of argb, of a frame of floats: packed RgbaF32, opaque. Nothing in it is rounded to whole levels, and it
  // may be brighter than white. 16 bytes a pixel: 132 MB of a clean plate of 3840 x 2160.
  std::vector<float> rgba{};

  bool empty() const { return argb.empty() && rgba.empty(); }
  std::size_t pixels() const { return (argb.size() + rgba.size()) / 4; }
  PixelFormat format() const { return rgba.empty() ? PixelFormat::Argb8 : PixelFormat::RgbaF32; }

  // Both hold as long as this does.
  ConstFrame picture() const {
    const bool isFloat = format() == PixelFormat::RgbaF32;
    return packedFrame(isFloat ? reinterpret_cast<const unsigned char*>(rgba.data()) : argb.data(), width, height,
                       format());
  }
  KnownPlate known() const { return {picture(), keepsShadows, noise}; }
};

}  // namespace kalvetra
