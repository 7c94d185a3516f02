// What the surroundings say of a pixel: colours of the subject, how far inside it or outside it lies, and how well the
// plate fits there.
#pragma once

#include <array>

#include "refine/cell_means.h"
#include "refine/pixel_kernels.h"

namespace kalvetra::refine {

// A plane for each FieldName, of the size of the cells.
using Fields = std::array<Plane, FieldName::kCount>;

// `noise`: of a channel of the frame about the plate, levels. Throws std::bad_alloc and what Workers::run throws.
Fields fieldsOf(const CellMeans& cells, float noise, const Workers* workers);

}  // namespace kalvetra::refine
