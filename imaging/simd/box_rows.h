// Box averages row by row, for vectors. Only where simd::enabled().
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "imaging/simd/row_kernels.h"

namespace kalvetra::simd {

// Of the edge blur: truncated, so that even a uniform matte may darken by one level.
inline constexpr BoxScale kMaskBlurScale{0.0f, 1.0f, 0.0f};

// Averages over a square window, for rows that are taken one after the other. A row holds `values` = width * channels
// bytes; the channels (1, 2 or 4) of a pixel are averaged apart.
class BoxRows {
 public:
  // Any radius of 0 or more; one beyond the image counts as its longer side.
  BoxRows(int width, int height, int channels, int radius, const BoxScale& scale);

  // Whether window sums stay below 2^31.
  static bool possible(int width, int height, int radius);

  // Writes the averages of row y, in ascending order from any row on. rowAt(i) gives the bytes of row i; it is asked
  // for rows that enter or leave the window, y - radius - 1 at the least and y + radius at the most.
  template <class RowAt>
  void average(int y, RowAt rowAt, unsigned char* result) {
    if (!begun_) {
      for (int i = std::max(y - 1 - radius_, 0); i <= lastInWindow(y - 1); ++i) add(rowAt(i), nullptr);
      begun_ = true;
    }
    const bool enters = y<height_ - radius_, leaves = y> radius_;
    if (enters || leaves) add(enters ? rowAt(y + radius_) : nullptr, leaves ? rowAt(y - radius_ - 1) : nullptr);
    write(y, result);
  }

 private:
  // The last row that has entered when row y is averaged. On an image that is not higher than the radius, its last row
  // never enters.
  int lastInWindow(int y) const { return std::min(y + radius_, radius_ < height_ ? height_ - 1 : height_ - 2); }
  void add(const unsigned char* entering, const unsigned char* leaving);
  void sumAlong();
  void write(int y, unsigned char* result);

  int width_, height_, radius_;
  std::size_t channels_, values_;
  BoxScale scale_;
  bool begun_ = false;
  std::vector<std::uint32_t> columns_;  // sums of every value over the window's rows
  std::vector<std::uint32_t> sums_;     // running sums of the columns, with room for the window on both sides
  std::vector<float> columnWeights_;    // 1 / the window's pixels, for every value of a row
  std::vector<float> rowWeights_;       // and for every row
};

}  // namespace kalvetra::simd
