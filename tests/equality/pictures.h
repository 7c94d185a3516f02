// What the passes are compared on.
#pragma once

#include <string>

#include "bench/passes.h"
#include "sample/test_images.h"

namespace kalvetra::test {

enum class Picture {
  Dark,     // 0..3
  Bright,   // 252..255
  Noise,    // 0..255
  Screen,   // a green screen with a subject, opaque
  Ramps,    // smooth, grey along a diagonal
  Cutout,   // a green screen with a black disc; alpha is a matte, 0 in the disc, with a soft rim
  Uniform,  // kScreenGreen, opaque
  Colors,   // of kColorSlice pixels: a sixteenth of all colours, each once, opaque; the seed, 0..15, says which
};

// Those of any size.
inline constexpr Picture kPictures[]{Picture::Dark,  Picture::Bright, Picture::Noise,  Picture::Screen,
                                     Picture::Ramps, Picture::Cutout, Picture::Uniform};

inline constexpr bench::Size kColorSlice{4096, 256};
inline constexpr int kColorSlices = 16;

std::string nameOf(Picture picture);

// Packed, in the byte order of `kind`; a plane is the picture's alpha.
Bytes draw(Picture picture, bench::Source kind, bench::Size size, std::uint64_t seed);

}  // namespace kalvetra::test
