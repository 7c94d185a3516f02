// Averages over a square window, for rows of floats that are taken one after the other: a fixed number of operations a
// pixel whatever the radius. Summed in whole numbers, which know no order: where a band begins does not show.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kalvetra::deep {

class BoxAverages {
 public:
  // Of as much of the window as lies in the picture, all of it: the averages of bytes leave out the last row or column
  // of a picture that is not larger than the radius (imaging/sliding_box.h). `radius` 0 or more. Values beyond
  // -largest..largest count as these. They are rounded to 2^-16 of a level at best; to coarser steps where the window
  // is long and `largest` great, so that sums stay in 32 bits: with windows of 201 rows or columns to 2^-13 for values
  // up to 256.
  BoxAverages(int width, int height, int radius, float largest);

  // Writes the averages of row y, in ascending order from any row on. rowAt(i) gives row i; it is asked for rows that
  // enter or leave the window, y - radius - 1 at the least and y + radius at the most. Rows have room for whole
  // vectors, as those of a RowBuffer, and are aligned like them.
  template <class RowAt>
  void average(int y, const RowAt& rowAt, float* result) {
    if (!begun_) {
      for (int i = y - 1 - radius_ > 0 ? y - 1 - radius_ : 0; i < y + radius_ && i < height_; ++i)
        slide(rowAt(i), nullptr);
    }
    begun_ = true;
    const bool enters = y<height_ - radius_, leaves = y> radius_;
    if (enters || leaves) slide(enters ? rowAt(y + radius_) : nullptr, leaves ? rowAt(y - radius_ - 1) : nullptr);
    write(y, result);
  }

 private:
  void slide(const float* entering, const float* leaving);
  void write(int y, float* result);

  int width_, height_, radius_;
  float largest_, scale_;  // whole numbers a level
  bool begun_ = false;
  std::vector<std::int32_t> columns_;  // sums of each column over the window's rows
  std::vector<std::int32_t> means_;    // of each column, rounded
  std::vector<std::int32_t>
      sums_;  // of the means up to each column, modulo 2^32, with room for the window at both ends
  std::vector<float> columnWeights_;  // 1 / the window's columns, in levels a whole number
};

}  // namespace kalvetra::deep
