// Takes the screen's light off the subject by what its materials are.
#pragma once

#include "deep/backdrop.h"
#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/workers.h"
#include "refine/cells.h"
#include "refine/materials.h"

namespace kalvetra::refine {

// The spill of a frame, cell by cell.
struct SpillField {
  int side = 1;          // of a cell, pixels
  plates::Plane amount;  // share of the screen to be taken off the subject's colour: of solid parts, carried over edges
  plates::Plane extra;   // what there is more of it just at the edges, where the alpha is taken to be too high
  plates::Plane cover;   // mean alpha, 0..1
  plates::Plane sure;    // 0..1: how well the materials explain what is seen
  plates::Planes own;    // the subject's colour without it, levels, in working colours
  plates::Plane meant;   // the screen's chroma that colours have of their own, as a share of the screen's
  plates::Planes screen;  // the screen's light, smooth
};
SpillField spillOf(const Cells& cells, const Materials& materials, const KeySettings& settings,
                   const Workers* workers = nullptr);

// Writes the colours of a key of floats anew: the source's, without the screen that shows through by the key's alpha,
// and without the spill. Never greener than the engine's colours that it had, where these or the materials are not
// green themselves, and never newly violet. Alpha stays. Source, backdrop and key are of one size, at least one pixel.
void removeSpill(const ConstFrame& source, const deep::Backdrop& backdrop, const SpillField& field, bool blueScreen,
                 const Frame& keyed, const Workers* workers = nullptr);

}  // namespace kalvetra::refine
