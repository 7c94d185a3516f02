// Spill taken off by what it lies on, after the key at full depth.
#pragma once

#include "engine/frame.h"
#include "engine/workers.h"
#include "refine/materials.h"
#include "refine/refine.h"

namespace kalvetra::refine {

// Adds what a frame and its key by the engine show of the subject's materials.
void lookAt(const RefineInput& input, const ConstFrame& keyed, MaterialGathering& gathering,
            const Workers* workers = nullptr);

// Writes the colours of `keyed` anew where settings.despill is 1; otherwise, and where nothing is keyed, nothing is
// done. `keyed` is what renderDeep() made of the source as the view result: RgbaF32, straight or premultiplied, of the
// source's size; only the area that both have in common is read and written. Its alpha, which may have been refined,
// stays. `shot`: the materials of the whole shot; null: those of the frame alone. The plate may be null: then the
// engine's own. The despill sliders say how much of the spill found on pale, warm and cold colours is taken: where they
// stand as delivered all of it, at 0 nothing (of cold ones, delivered as 0, all), at 100 twice as much; and they shape
// the engine's colours, which bound the result. A continuous function of the pictures; the same bytes for any workers
// and at every CPU level. Throws std::bad_alloc and what Workers::run throws, with the key perhaps written in part.
void despillByMaterial(const RefineInput& input, const Frame& keyed, const Materials* shot = nullptr,
                       const Workers* workers = nullptr);

}  // namespace kalvetra::refine
