// Rows of floats into pixels of four floats: one text for every instruction set, with the same bytes on each.
#pragma once

#include <cstdint>

namespace kalvetra::simd {

// Samples in stored units, less black or neutral chroma, to code values: 0 black, 1 white.
struct FloatYuvMatrix {
  float black, neutral, lumaSpan;     // stored units
  float redV, greenU, greenV, blueU;  // of a stored unit of chroma
};

// `width` pixels of red, green, blue and the given alpha. Nothing is clamped; neutral chroma gives three equal colours,
// each correctly rounded.
void yuvToFloats(const FloatYuvMatrix& matrix, const float* y, const float* u, const float* v, const float* alpha,
                 int width, float* rgba);

// Four rows put together.
void interleaveFloats(const float* red, const float* green, const float* blue, const float* alpha, int width,
                      float* rgba);

// The way back to YUV of 10 bits in limited range, of one of the luma weights' matrix: rounded, kept to 0..1023.
// `alpha` may be null.
struct TenBitPlanes {
  std::uint16_t *y, *u, *v, *alpha;
};
void floatsToTenBits(const float* rgba, float redWeight, float blueWeight, int width, const TenBitPlanes& out);

}  // namespace kalvetra::simd
