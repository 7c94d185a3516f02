// The keyed frame in small squares, in which its materials and their spill are looked for: what the subject's colours
// are is a matter of areas, and noise and coarsely stored chroma are averaged out.
#pragma once

#include "deep/backdrop.h"
#include "engine/frame.h"
#include "engine/workers.h"
#include "plates/plane.h"

namespace kalvetra::refine {

// Planes of a value for each cell, of one size. Colours are levels in working colours.
struct Cells {
  int side = 1;           // of a cell, pixels of the frame: about 4 / 1080 of its height
  float unit = 1.0f;      // 1 / 1080 of the frame's height, in cells
  plates::Planes own;     // of the subject: what is left without the screen that shows through, over its alpha
  plates::Planes screen;  // the lit screen there
  plates::Planes keyed;   // the engine's colour of the subject
  plates::Plane cover;    // mean alpha, 0..1
  plates::Plane engine;   // how much of the screen's colour the engine's despill takes away, as a share of the screen,
                          // or, below 0, adds
  plates::Plane depth;    // distance from what the screen shows through, in 1080ths of the height, up to kDeepest

  int width() const { return cover.width; }
  int height() const { return cover.height; }
};

inline constexpr float kDeepest = 96.0f;

// Of one frame, its backdrop, and its key of floats with the engine's colours, all of one size, at least one pixel.
// Throws std::bad_alloc and what Workers::run throws.
Cells cellsOf(const ConstFrame& source, const deep::Backdrop& backdrop, const ConstFrame& keyed, bool blueScreen,
              const Workers* workers = nullptr);

}  // namespace kalvetra::refine
