// What the keyer makes of single pixels and of its settings, for people who want to see why.
#pragma once

#include "engine/chroma_plane.h"
#include "engine/render.h"
#include "engine/treatment.h"

namespace kalvetra {

// How the pixel at x, y of the frame, inside it, is keyed with these options: seen in the picture or the field that it
// belongs to, after any deblocking, before the matte is contracted, blurred, clipped or limited. Foreground where
// nothing is keyed. Throws std::bad_alloc.
Treatment treatmentAt(const KeySettings& settings, const ConstFrame& frame, const RenderOptions& options, int x, int y);

// The lines in the (I, Q) plane of CImagingZEP::RGBtoYIQ2 that bound the backdrop's sector, as the passes use them: all
// go through grey; unit vectors point to the side of the hue. For a blue screen, which is keyed with green and blue in
// each other's place, they are those of the picture itself: its "blue" bound then lies towards green.
struct KeyLines {
  Chroma grey, key;
  Chroma skinHue, blueHue;          // the hue bounds
  Chroma skinDespill, blueDespill;  // the same turned by the despill angles
};

// Of the pass that smoothBG chooses. Values out of range are taken as the pipeline's record holds them.
KeyLines keyLines(const KeySettings& settings);

}  // namespace kalvetra
