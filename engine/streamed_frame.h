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

// What a frame is keyed by.
struct StreamedKey {
  const KALVETRA_Param* param;  // its images and size are not read; null keys nothing
  const KnownPlate* given;      // of at least one pixel: the plate where one is called for; null for the frame's own
  bool blueScreen;              // keyed with blue and green in each other's place; those of the record are already
};

// Keys `input` into `output`: straight, of one size, apart in memory, each of any format. The rows are shared out over
// `workers`, which may be null; so are those of reducing the frame to the background plate's size and of enlarging the
// plate, while the plate itself is repaired on one thread. Returns false, with nothing written, where the frame has to
// be rendered the plain way: a record that the pipeline refuses, or values beyond what vectors cover. Throws
// std::bad_alloc, with nothing written, and what Workers::run throws, with the output perhaps written in part.
bool streamFrame(const ConstFrame& input, const Frame& output, const StreamedKey& how, const MatteFinish& finish,
                 const Workers* workers);

}  // namespace kalvetra
