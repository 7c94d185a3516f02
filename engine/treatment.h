// Which way a pixel takes through a keying pass.
#pragma once

#include "engine/KALVETRA_Param.h"

namespace kalvetra {

enum class Treatment {
  Foreground,  // kept as it is, opaque
  NearKey,     // of the backdrop's own chroma: a black shadow, or gone
  SkinSide,    // unmixed and despilled at the hue bound towards skin and hair
  BlueSide,    // likewise towards blue
};

// In the colour-key pass, for a pixel in working order (blue, green, red).
Treatment colorKeyTreatment(const KALVETRA_Param& param, const unsigned char* source);

// In the chroma-key core, against that pixel of the plate.
Treatment plateKeyTreatment(const KALVETRA_Param& param, const unsigned char* source, const unsigned char* plate);

}  // namespace kalvetra
