// The engine's windowed sinc with weights as they are, and nothing rounded between its two steps.
#pragma once

#include <vector>

#include "deep/rows.h"
#include "engine/background_plate.h"
#include "engine/frame.h"
#include "imaging/resample_taps.h"

namespace kalvetra::deep {

// For pictures of one size that become pictures of another.
struct Resampling {
  Resampling(PlateSize from, PlateSize to, int lobes);

  PlateSize from, to;
  Weights across, down;
};

// A frame's rows in a smaller size. Down first, which leaves few rows to be taken along.
class ReducedRows {
 public:
  // From `firstRow` of the small picture on. Frame and resampling have to stay.
  ReducedRows(const Resampling& reducing, const ConstFrame& frame, bool blueScreen, int firstRow);

  // Writes the next row, as pixels of four floats.
  void next(float* pixels);

 private:
  Row sums(int row);
  void take(int sourceRow);

  const Resampling& reducing_;
  ConstFrame frame_;
  bool blueScreen_;
  int row_;     // the next one
  int source_;  // the next row of the frame
  int open_;    // rows of the small picture that can be under way at the same time
  RowBuffer loaded_, sums_;
  std::vector<float> pixels_;
};

}  // namespace kalvetra::deep
