// The small picture of the backdrop that the background-plate pass keys against.
#pragma once

#include "engine/KALVETRA_Param.h"

namespace kalvetra {

struct PlateSize {
  int width;
  int height;
};

inline constexpr int kLanczos = 0;  // the resampler's filter for both ways
inline constexpr int kReducingLobes = 2;
inline constexpr int kEnlargingLobes = 1;

// In the small copy.
inline constexpr int kEdgeThreshold = 40;  // of the Laplacian, mean of the channels' positive responses
inline constexpr int kHoleGrowth = 3;      // pixels round each hole that carry spill and edge blur
inline constexpr int kPlateBlur = 7;       // radius in pixels

// Of the small copy of a frame: at most 320 on its longer side, at least 2 x 2.
PlateSize plateSize(int frameWidth, int frameHeight);

// A picture of the backdrop in place of the estimate: packed, in working order, of any size from one pixel on.
struct GivenPlate {
  unsigned char* pixels;
  int width, height;
};

// Turns the small copy of the frame, packed pixels in working order, into the backdrop behind it. Reads the key colour
// and the hue bounds of the record.
void makePlate(const KALVETRA_Param& param, unsigned char* plate, PlateSize size);

// The backdrop behind the record's frame, into a packed picture of the frame's size in working order: the given one
// enlarged like the estimate, or where that is null the estimate itself. Reads what makePlate reads, and the frame,
// which may not be empty. Throws std::bad_alloc.
void drawBackdrop(const KALVETRA_Param& param, const GivenPlate* given, unsigned char* plate);

// CKALVETRA::MakeMask32bit008_1 against that backdrop.
unsigned int keyAgainstBackdrop(KALVETRA_Param& param, const GivenPlate* given);

}  // namespace kalvetra
