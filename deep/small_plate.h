// The small copy of a frame that its background plate is made of, in floats.
#pragma once

#include <cstddef>
#include <vector>

#include "deep/rows.h"
#include "engine/KALVETRA_Param.h"
#include "engine/background_plate.h"
#include "engine/hole_map.h"

namespace kalvetra::deep {

// Pixels of four floats: red, green and blue in levels of working colours, and 0.
class SmallPlate {
 public:
  // Zeros. Rows have room for whole vectors.
  SmallPlate(int width, int height)
      : width_(width),
        height_(height),
        stride_(RowBuffer::room(width) * 4),
        values_(stride_ * static_cast<std::size_t>(height)) {}

  int width() const { return width_; }
  int height() const { return height_; }
  std::size_t rowFloats() const { return stride_; }
  float* row(int y) { return values_.data() + stride_ * static_cast<std::size_t>(y); }
  const float* row(int y) const { return values_.data() + stride_ * static_cast<std::size_t>(y); }

 private:
  int width_, height_;
  std::size_t stride_;
  std::vector<float> values_;
};

// Turns the small copy of the frame, at least 2 x 2, into the backdrop behind it: kalvetra::makePlate with nothing
// rounded. Reads the key colour and the hue bounds of the record. What is a hole is kept apart from the colours, so
// that a black backdrop is a colour like others. False where nothing survives: then it is the key colour everywhere.
bool makePlate(const KALVETRA_Param& param, SmallPlate& plate);

// Fills the holes from what survives, `surviving` being 1 in its pixels; with the key colour where nothing does.
void fillHoles(SmallPlate& plate, HoleMap& surviving, const KALVETRA_Param& param);

}  // namespace kalvetra::deep
