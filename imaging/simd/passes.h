// Vector forms of whole routines, called from their plain forms. Only where simd::enabled(). Arguments as in
// CImagingZEP, already checked there. Each answers false, with nothing written, where it does not cover its arguments.
#pragma once

#include <cstddef>

namespace kalvetra::simd {

struct Pixels {
  unsigned char* data;
  int width;
  int height;
  std::ptrdiff_t stride;  // bytes
};

bool resample(const Pixels& source, const Pixels& result, int filter, int lobes);

}  // namespace kalvetra::simd
