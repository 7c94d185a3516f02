// Rows of pixels as the deep passes take them: a plane for each channel, in levels: 0 black, 255 nominal white or
// opaque, with all that lies between, below and above. In working colours: for a blue screen, which is keyed with green
// and blue in each other's place, `green` holds the blue.
#pragma once

#include <cstddef>
#include <vector>

#include "engine/frame.h"

namespace kalvetra::deep {

// Of planes that begin at multiples of 64 bytes and have room for whole vectors: see RowBuffer.
struct ConstRow {
  const float *red, *green, *blue, *alpha;
};

struct Row {
  float *red, *green, *blue, *alpha;
  operator ConstRow() const { return {red, green, blue, alpha}; }
};

// Memory for rows, zeros at first.
class RowBuffer {
 public:
  // Kernels work on whole vectors of at most so many floats. Up to the next multiple of it, a row's floats after its
  // last pixel belong to the row: kernels read and write them, and what they hold shows nowhere.
  static constexpr std::size_t kWholeVectors = 16;

  // The floats of a plane of `width` pixels.
  static constexpr std::size_t room(int width) {
    return (static_cast<std::size_t>(width) + kWholeVectors - 1) / kWholeVectors * kWholeVectors;
  }

  // Throws std::bad_alloc.
  RowBuffer(int width, int rows);
  RowBuffer(RowBuffer&&) = default;
  RowBuffer& operator=(RowBuffer&&) = default;

  // Row i, 0..rows - 1.
  Row row(int i);
  ConstRow row(int i) const { return const_cast<RowBuffer*>(this)->row(i); }

 private:
  std::size_t stride_;  // from a plane to the next, in floats
  std::vector<float> memory_;
  std::size_t start_;  // of the first plane
};

// Row y of a frame of any format, straight: premultiplied colours are divided by alpha, and are black where it is 0.
// Alpha is brought within 0..255. NaN counts as 0; colours beyond +-65504 (the largest of half precision, times 255 in
// levels), and with them the infinities, count as that. `out` has room for whole vectors, as the rows of a RowBuffer.
void loadRow(const ConstFrame& frame, int y, bool blueScreen, Row out);

}  // namespace kalvetra::deep
