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

// The taps of both steps for pictures of one size that become pictures of another, as CImagingZEP::DF_WH32bit5_1 has
// them. Any number of ResampledRows can share one.
class ResamplePlan {
 public:
  ResamplePlan(int width, int height, int outputWidth, int outputHeight, int filter, int lobes);

  // False where intermediate values could leave 16 bits; then nothing may be resampled.
  bool possible() const { return possible_; }

 private:
  friend class ResampledRows;

  int width_, height_;
  Taps vertical_;
  bool possible_;
  RowPlan horizontal_;
  int longest_ = 1;  // rows of a vertical window
};

class ResampledRows {
 public:
  // Resamples 4-byte pixels, rows `stride` bytes apart, by a possible plan. The output rows are taken from `firstRow`
  // on. `source` and `plan` must stay while rows are taken.
  ResampledRows(const ResamplePlan& plan, const unsigned char* source, std::ptrdiff_t stride, int firstRow = 0);

  // Writes the next row, top to bottom, all four bytes of each pixel.
  void next(unsigned char* row);

 private:
  void fillTo(int lastRow);
  std::int16_t* slot(int row) const;

  const ResamplePlan& plan_;
  const unsigned char* source_;
  std::ptrdiff_t stride_;
  std::size_t rowValues_;
  int ringRows_;
  int done_;                                     // source rows resampled so far, or above the first that is needed
  int row_;                                      // the next output row
  std::unique_ptr<std::int16_t[]> ring_;         // horizontally resampled rows, 4 values a pixel
  std::vector<const std::int16_t*> windowRows_;  // those of the row at hand
  std::unique_ptr<unsigned char[]> paired_;      // source rows in the order that pairs are formed in
  std::size_t pairedBytes_ = 0;
};

}  // namespace kalvetra::simd
