// The backdrop that a frame is keyed against, in floats: a plate that was given, or one made of the frame as it came.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "deep/resampling.h"
#include "deep/rows.h"
#include "deep/small_plate.h"
#include "engine/KALVETRA_Param.h"
#include "engine/bands.h"
#include "engine/render.h"

namespace kalvetra::deep {

// Smooth wherever the frame is: nothing in it is rounded to levels.
class Backdrop {
 public:
  // Of a frame of any format and at least one pixel. `given`, of at least one pixel, any format and size, may be null;
  // where it has the frame's size, its colours are taken as they are. Of the record the key colour and the hue bounds
  // are read. The frame and the given picture have to stay. Throws std::bad_alloc, and what Workers::run throws.
  Backdrop(const ConstFrame& frame, bool blueScreen, const KALVETRA_Param& param, const KnownPlate* given,
           const Workers* workers);

  // Levels by which the plate in bytes lies lower on the mean, where there is backdrop: it is truncated whenever it is
  // resampled, by half a level when it is reduced and one when it is enlarged, since by then it hardly changes from
  // pixel to pixel. PlateKeyGeometry::kPlateOffset makes up for that there; against this plate it is too great by it.
  float lossInBytes() const { return lossOfReducing_ + (enlarging_ ? 1.0f : 0.0f); }

  // Its rows in the frame's size, in working colours. Any number of them can share a backdrop, which has to stay.
  class Rows {
   public:
    // `kept`: how many rows stay valid, the last one included.
    Rows(const Backdrop& backdrop, int firstRow, int kept);
    // Row y, `firstRow` at first, then each after the one before. Its alpha says nothing.
    ConstRow row(int y);

   private:
    void enlarge(int y, Row out);
    const float* sourcePixels(int y);

    const Backdrop& backdrop_;
    RowBuffer rows_;
    int kept_;
    // Where it is enlarged: rows enlarged along so far, or above the first that is needed, and a ring of them.
    int done_ = 0, ringRows_ = 0;
    std::optional<RowBuffer> ring_, loaded_;
    std::vector<float> source_, wide_;  // pixels
    std::vector<const float*> window_;
  };

 private:
  void estimate(const ConstFrame& frame, const KALVETRA_Param& param, const Workers* workers);

  int width_, height_;
  bool blueScreen_;
  float lossOfReducing_ = 0.0f;
  std::optional<SmallPlate> own_;
  ConstFrame given_{};
  std::optional<Resampling> enlarging_;  // none where the plate has the frame's size
};

}  // namespace kalvetra::deep
