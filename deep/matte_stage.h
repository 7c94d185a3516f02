// The whole matte in floats, for the stages that need neighbours: contraction, then the edge blur.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "deep/box_averages.h"
#include "deep/rows.h"
#include "engine/KALVETRA_Param.h"
#include "engine/bands.h"

namespace kalvetra::deep {

class MatteStage {
 public:
  // Of a picture of at least one pixel. Record and bands have to stay. Throws std::bad_alloc.
  MatteStage(int width, int height, const KALVETRA_Param& param, const Bands& bands);
  static bool isNeeded(const KALVETRA_Param& param) { return param.nContractMask != 0 || param.nMaskBlurRadius != 0; }

  // Where row y goes, alpha in levels 0..255: aligned, with room for whole vectors, as the rows of a RowBuffer.
  float* row(int y) { return rowOf(matte_, y); }

  // After all rows were filled. Throws what Workers::run throws.
  void contractAndBlur();

  // Row y after that.
  const float* finished(int y) { return rowOf(matte_, y); }

 private:
  // Written before it is read: memory of that size costs a third of a step to clear.
  using Plane = std::unique_ptr<float[]>;

  Plane plane() const;
  float* rowOf(const Plane& plane, int y) const;
  void contract();
  void blur();

  int width_, height_;
  const KALVETRA_Param& param_;
  const Bands& bands_;
  std::size_t stride_;
  Plane matte_, scratch_;
  std::vector<unsigned char> changed_;  // whether a step changed anything, of each band
  std::vector<BoxAverages> boxes_;      // one a band, where the edge is blurred
  std::vector<RowBuffer> edges_;        // and a row of averages each
};

}  // namespace kalvetra::deep
