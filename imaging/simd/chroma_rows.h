// The chroma blur row by row. Only where simd::enabled().
#pragma once

#include <cstddef>
#include <memory>

#include "imaging/simd/box_rows.h"

namespace kalvetra::simd {

class ChromaRows {
 public:
  // Blurs the chroma of an image, rows `stride` bytes apart, as CImagingZEP::ChromaBlur32bit does, from `firstRow` on;
  // see possible().
  ChromaRows(const unsigned char* image, std::ptrdiff_t stride, ByteOrder order, int width, int height, int radius,
             int firstRow = 0);

  // Whether the average of a window this large is exact as it is formed here.
  static bool possible(int radius) { return radius <= 44; }

  // Writes the next row, top to bottom, in the image's byte order; the alpha of `row` stays. The image is read `radius`
  // rows ahead and never again, so that `row` may be the image's own.
  void next(unsigned char* row);

 private:
  unsigned char* luma(int row) const { return luma_.get() + slot(row); }
  unsigned char* chroma(int row) const { return chroma_.get() + slot(row) * 2; }
  std::size_t slot(int row) const {
    return static_cast<std::size_t>(row % ringRows_) * static_cast<std::size_t>(width_);
  }

  const unsigned char* image_;
  std::ptrdiff_t stride_;
  ByteOrder order_;
  int width_, height_, radius_, ringRows_;
  int split_;  // rows taken apart so far, or above the first that is needed
  int row_;    // the next row
  BoxRows box_;
  std::unique_ptr<unsigned char[]> luma_, chroma_, blurred_;
};

}  // namespace kalvetra::simd
