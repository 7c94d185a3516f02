// The resampler row by row: no intermediate picture, and rows may be used as they come. Only where simd::enabled().
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "imaging/resample_taps.h"

namespace kalvetra::simd {

// The horizontal step's taps in the order in which its kernel wants them.
struct RowPlan {
  // How rows are made: with sums of products of 16-bit pairs, for windows of many pixels (kPixels pixels at a time), or
  // pixel by pixel in 32 bits.
  static constexpr int kPixels = 8;
  bool paired = false;
  int outputWidth = 0;
  std::vector<Window> windows;      // paired: first is the 0-based first pixel, even; last counts groups of kPixels
  std::vector<int> taps;            // 16.16, where not paired
  std::vector<std::int16_t> pairs;  // each group's taps, spread over its 4 * kPixels lanes
};

class ResampledRows {
 public:
  // Bytes of 4-byte pixels, rows `stride` bytes apart, are resampled to outputWidth x outputHeight with the taps of
  // CImagingZEP::DF_WH32bit5_1. `source` must stay while rows are taken.
  ResampledRows(const unsigned char* source, int width, int height, std::ptrdiff_t stride, int outputWidth,
                int outputHeight, int filter, int lobes);

  // False where intermediate values could leave 16 bits; then nothing may be taken.
  bool possible() const { return possible_; }

  // Writes the next row, top to bottom, all four bytes of outputWidth pixels.
  void next(unsigned char* row);

 private:
  void fillTo(int lastRow);
  std::int16_t* slot(int row) const;

  const unsigned char* source_;
  int width_, height_, outputWidth_;
  std::ptrdiff_t stride_;
  Taps vertical_;
  RowPlan plan_;
  bool possible_;
  int ringRows_ = 0;
  int done_ = 0;                                 // source rows resampled so far
  int row_ = 0;                                  // the next output row
  std::unique_ptr<std::int16_t[]> ring_;         // horizontally resampled rows, 4 values a pixel
  std::vector<const std::int16_t*> windowRows_;  // those of the row at hand
  std::unique_ptr<unsigned char[]> paired_;      // source rows in the order that pairs are formed in
  std::size_t pairedBytes_ = 0;
};

}  // namespace kalvetra::simd
