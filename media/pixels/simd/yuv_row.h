// The vector form of convertYuvRow.
#pragma once

#include "media/pixels/yuv_matrix.h"

namespace kalvetra::simd {

// Converts as many pixels from the left as fill whole vectors, and returns how many. Only where simd::enabled().
int convertYuvRow(const YuvMatrix& matrix, const std::int16_t* y, const std::int16_t* u, const std::int16_t* v,
                  int width, unsigned char* argb);

}  // namespace kalvetra::simd
