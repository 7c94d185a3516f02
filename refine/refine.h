// What comes after the key at full depth: alpha in the uncertain band, in veils and in smoke, re-estimated with the
// colours around as evidence, and the colour solved for it.
#pragma once

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/render.h"
#include "engine/workers.h"

namespace kalvetra::refine {

struct RefineInput {
  ConstFrame source;        // that was keyed, of any format
  const KnownPlate* plate;  // that it was keyed against; null, or of no pixels: nothing is refined
  const KeySettings& settings;
  Scan scan = Scan::Whole;  // of fields each is refined by itself
};

// Refines `keyed`, what renderDeep() made of the source as the view result: RgbaF32, straight or premultiplied, of the
// source's size; only the area that both have in common is read and written. Nothing is done where settings.refine is
// 0, nothing is keyed, or the key is not made against a plate. Everywhere a blend of the engine's key and of what
// explains the pixel best, by a confidence that is a continuous function of the pictures; the same bytes for any
// workers and at every CPU level. Throws std::bad_alloc and what Workers::run throws, with nothing written.
void refineKey(const RefineInput& input, const Frame& keyed, const Workers* workers = nullptr);

}  // namespace kalvetra::refine
