// Vector forms of whole routines, called from their plain forms. Only where simd::enabled(). Arguments as in
// CImagingZEP, checked there: no buffer is null, no radius negative. A bool says whether the arguments
// are covered; where they are not, nothing is written.
#pragma once

#include <cstddef>

namespace kalvetra::simd {

struct Pixels {
  unsigned char* data;
  int width;
  int height;
  std::ptrdiff_t stride;  // bytes
};

bool resample(const Pixels& source, const Pixels& result, int filter, int lobes);

bool chromaBlur(unsigned char* image, int width, int height, int radius);

// Of four-channel pixels; bytes of a row beyond its pixels become 0.
bool averageBlur(const Pixels& image, int radius);

// Of a packed one-byte plane, into `result`, which is another.
bool averageBlur(const unsigned char* plane, unsigned char* result, int width, int height, int radius, float gain);

bool maskBlur(unsigned char* image, int width, int height, int radius, float amount, int offset);

// `steps` contraction steps on a packed one-byte plane, cross and square in turn from the cross on, or from the square
// when `squareFirst` is set. Sides of 3 or more, slack 0..255; `scratch` is as large as `plane`.
void contract(unsigned char* plane, unsigned char* scratch, int width, int height, int steps, int slack,
              bool squareFirst = false);

// On byte 3 of packed pixels.
bool contractMatte(unsigned char* image, int width, int height, int steps, int slack, bool squareFirst);

// Rows 0..height-1 of an image with sides of 3 or more.
bool findEdges(const Pixels& source, unsigned char* result, std::ptrdiff_t resultStride, int threshold);

}  // namespace kalvetra::simd
