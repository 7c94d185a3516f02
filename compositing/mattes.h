// Mattes drawn elsewhere that correct a key. White applies, black does not, grey does in part.
//
// Pictures are of one size and one format, with straight alpha; others throw std::invalid_argument. Where both kinds
// are in use, the holdout comes first: what the garbage matte clears is gone. Deep pictures follow the same formulas
// with 1 in place of 255, unrounded; colours below 0 and above 1 go through.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// The level 0..255 of a matte's pixel in host order: its luma (weights of BT.709; a grey pixel gives exactly its
// value), times its alpha.
unsigned char matteLevel(const unsigned char* argb);
// Of a deep pixel: kept to 0..1.
float matteLevel(const float* rgba);

// Forces parts of the picture to be opaque: lays `keyed` over the source, whose alpha is the holdout's level h. With
// alpha a and the source's colour s the pixel becomes
//   a' = a + (255 - a) * h / 255, colour = (a * colour + (a' - a) * s) / a'.
// It never gets more opaque than the source is.
void applyHoldout(const Image& holdout, const Image& source, Image& keyed);

// Clears parts of the picture: a' = a * (255 - g) / 255 with the garbage matte's level g. Colours stay.
void applyGarbage(const Image& garbage, Image& keyed);

}  // namespace kalvetra
