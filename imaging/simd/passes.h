// Vector forms of whole routines, called from their plain forms. Only where simd::enabled(). Arguments as in
// CImagingZEP, checked there: no buffer is null, no radius negative. Where a bool is not described otherwise, it says
// whether the arguments are covered; where they are not, nothing is written.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

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

// Rows firstRow..endRow - 1 of one contraction step on a packed one-byte plane, into `result`; sides of 3 or more,
// slack 0..255. True when the step changes one of them.
bool contractRows(const unsigned char* plane, unsigned char* result, int width, int height, int firstRow, int endRow,
                  int slack, bool square);

// `steps` contraction steps on `plane`, cross and square in turn from the cross on, or from the square when
// `squareFirst` is set. forRows(work) calls work(firstRow, endRow) for all rows, several at the same time if it likes.
// `scratch` is as large as `plane`; returns the one of both that holds the result.
template <class ForRows>
unsigned char* contract(unsigned char* plane, unsigned char* scratch, int width, int height, int steps, int slack,
                        bool squareFirst, const ForRows& forRows) {
  // Once neither kind of step changes anything, no further one will.
  int idleSteps = 0;
  for (int i = 0; i < steps && idleSteps < 2; ++i) {
    const bool square = (i % 2 != 0) != squareFirst;
    std::atomic<bool> changed = false;
    forRows([&](int firstRow, int endRow) {
      if (contractRows(plane, scratch, width, height, firstRow, endRow, slack, square)) changed = true;
    });
    idleSteps = changed ? 0 : idleSteps + 1;
    std::swap(plane, scratch);
  }
  return plane;
}

// On byte 3 of packed pixels.
bool contractMatte(unsigned char* image, int width, int height, int steps, int slack, bool squareFirst);

// Rows 0..height-1 of an image with sides of 3 or more.
bool findEdges(const Pixels& source, unsigned char* result, std::ptrdiff_t resultStride, int threshold);

}  // namespace kalvetra::simd
