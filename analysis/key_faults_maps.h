// What is known of each pixel of a source and its key, to find the key's faults with. A blue screen has become green.
#pragma once

#include <cstddef>

#include "engine/chroma_plane.h"
#include "engine/frame.h"
#include "engine/workers.h"
#include "plates/plane.h"

namespace kalvetra::faults {

using plates::Plane;

struct ChromaPlanes {
  Plane i, q;  // in levels, as in CImagingZEP::RGBtoYIQ2
  Chroma at(std::size_t n) const { return {i[n], q[n]}; }
};

struct Maps {
  ChromaPlanes source, keyed, screen;  // the last: of the bare screen at each place
  Plane sourceLuma, keyedLuma;         // levels
  Plane alpha;                         // of the key, 0..1
  Plane bare;                          // how surely the source is bare screen there, 0..1
  Plane opacity;                       // that chroma alone speaks for in the source, for greys; 0..1, of small areas
  Plane nearAlpha;                     // of the same areas
  Plane rim;                           // 1 where the key turns clear within a few pixels, otherwise 0
  Plane oppositeNear;                  // levels of the screen's opposite that the source's solids around have
};

Maps mapsOf(const ConstFrame& source, const ConstFrame& keyed, int keyColor, int screen, const Workers* workers);

// In levels, but for the first three, which are parts of the pixel, 0..1.
struct PixelFaults {
  double haze, filled, eaten, screenLeft, spillLeft, opposite, turned;
};
PixelFaults faultsAt(const Maps& maps, std::size_t pixel);

// Levels, summed over all pixels.
double blockSteps(const Maps& maps);

// How much of a chroma is of the screen's hue (sign 1) or of its opposite (sign -1), in levels.
float ofHue(Chroma color, Chroma screen, float sign);

}  // namespace kalvetra::faults
