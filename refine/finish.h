// All that comes after the key at full depth, in its order.
#pragma once

#include "refine/despill.h"
#include "refine/refine.h"

namespace kalvetra::refine {

// Refines `keyed` and takes the spill off as the settings say; without either nothing is done. See refineKey() and
// despillByMaterial().
inline void finishKey(const RefineInput& input, const Frame& keyed, const Materials* shot = nullptr,
                      const Workers* workers = nullptr) {
  refineKey(input, keyed, workers);
  despillByMaterial(input, keyed, shot, workers);
}

}  // namespace kalvetra::refine
