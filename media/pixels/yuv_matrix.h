// One row of YUV samples into host order, in whole numbers.
#pragma once

#include <cstdint>

#include "media/pixels/luma_weights.h"

namespace kalvetra {

// Samples come 16 times as large as they are stored: between two chroma samples there are no roundings. A component is
//   (luma * y + red or blue factor * chroma + bias) >> shift, kept to 0..255.
// No sum exceeds 31 bits for samples of up to 10 bits; every factor fits in 16.
struct YuvMatrix {
  // `depth` is 8..10 bits a sample.
  YuvMatrix(LumaWeights weights, bool fullRange, int depth);

  std::int16_t luma, redV, greenU, greenV, blueU;
  std::int32_t redBias, greenBias, blueBias;  // black, neutral chroma and the rounding
  int shift;
};

// `width` opaque pixels of host order, by the vectors of the CPU level in use or without; the bytes are the same.
void convertYuvRow(const YuvMatrix& matrix, const std::int16_t* y, const std::int16_t* u, const std::int16_t* v,
                   int width, unsigned char* argb);

}  // namespace kalvetra
