// What a picture and its key hold, gathered on cells of some pixels each.
#pragma once

#include "deep/backdrop.h"
#include "engine/frame.h"
#include "engine/workers.h"
#include "plates/plane.h"

namespace kalvetra::refine {

using plates::Plane;
using plates::Planes;

// Means over the pixels of each cell; colours in levels and working colours.
struct CellMeans {
  int side = 1;                  // pixels
  Planes color;                  // of the source
  Plane alpha;                   // of the engine's key, 0..1
  Plane least;                   // and its least in the cell
  Planes unmixed;                // what pixels are by their neutral opacity, times `unmixedWeight`
  Plane unmixedWeight;           // opacity^6 or so: the clear counts for nothing
  Planes opaque;                 // of the source, times `opaqueWeight`
  Plane opaqueWeight;            // the engine's alpha^8
  Plane opaqueTone, opaqueLuma;  // of the engine's colours, times that: chroma along the screen's, and luma, levels
  Plane residual;                // squared distance from the plate, of a channel, of what the key leaves clear
  Plane clear;                   // its weight, 0..1
};

// A 270th of the lines: fields made of cells cost the same for pictures of all sizes.
int cellSide(int lines);

// `keyed`: RgbaF32, straight, of the source's size. Throws std::bad_alloc and what Workers::run throws.
CellMeans gatherMeans(const ConstFrame& source, const ConstFrame& keyed, const deep::Backdrop& backdrop,
                      bool blueScreen, const Workers* workers);

}  // namespace kalvetra::refine
