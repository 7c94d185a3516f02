// A frame through all stages row by row, without a working image of its size: what rendering does wherever vectors are
// in use. The same bytes as the plain way through the pipeline.
#pragma once

#include "engine/KALVETRA_Param.h"
#include "engine/frame.h"
#include "engine/render.h"
#include "engine/simd/kernels.h"
#include "engine/workers.h"

namespace kalvetra {

using simd::MatteFinish;

// Keys `input` into `output`: straight, of one size, apart in memory, each of any format. Keys by `param`, whose images
// and size are not read; a null record keys nothing. Where a plate is called for, it is `given`, of at least one pixel,
// or the frame's own where that is null. The rows are shared out over `workers`, which may be null; so are
// those of reducing the frame to the background plate's size and of enlarging the plate, while the plate itself is
// repaired on one thread. Returns false, with nothing written, where the frame has to be rendered the plain way: a
// record that the pipeline refuses, or values beyond what vectors cover. Throws std::bad_alloc, with nothing written,
// and what Workers::run throws, with the output perhaps written in part.
bool streamFrame(const ConstFrame& input, const Frame& output, const KALVETRA_Param* param, const KnownPlate* given,
                 const MatteFinish& finish, const Workers* workers);

}  // namespace kalvetra
