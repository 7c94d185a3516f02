// A frame through all stages row by row, without a working image of its size: what the render entry does wherever
// vectors are in use. The same bytes as the plain way through the pipeline.
#pragma once

#include <cstddef>

#include "engine/KALVETRA_Param.h"
#include "engine/simd/kernels.h"

namespace kalvetra {

using simd::MatteFinish;

// Frames in host order: alpha, red, green, blue. Strides in bytes.
struct HostFrame {
  const unsigned char* input;
  std::ptrdiff_t inputStride;
  unsigned char* output;
  std::ptrdiff_t outputStride;
  int width;
  int height;
};

// Keys by `param`, whose images and size are not read; a null record keys nothing. Answers false, with nothing written,
// where the plain way has to be gone: a record that the pipeline refuses, or values beyond what vectors cover.
// Throws std::bad_alloc.
bool streamFrame(const HostFrame& frame, const KALVETRA_Param* param, const MatteFinish& finish);

}  // namespace kalvetra
