// A frame through all stages row by row, without a working image of its size: what the render entry does wherever
// vectors are in use. The same bytes as the plain way through the pipeline.
#pragma once

#include "engine/KALVETRA_Param.h"
#include "engine/frame.h"
#include "engine/simd/kernels.h"

namespace kalvetra {

using simd::MatteFinish;

// Keys `input` into `output`: straight Argb8, of one size, apart in memory. Keys by `param`, whose images and size are
// not read; a null record keys nothing. Answers false, with nothing written, where the plain way has to be gone: a
// record that the pipeline refuses, or values beyond what vectors cover. Throws std::bad_alloc.
bool streamFrame(const ConstFrame& input, const Frame& output, const KALVETRA_Param* param, const MatteFinish& finish);

}  // namespace kalvetra
