// The background plate of a frame that is keyed row by row, and its rows. Only where simd::enabled().
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "engine/KALVETRA_Param.h"
#include "engine/bands.h"
#include "engine/render.h"
#include "imaging/simd/byte_order.h"
#include "imaging/simd/resampled_rows.h"

namespace kalvetra {

simd::ByteOrder orderOf(PixelFormat format, bool blueScreen);

// One that was given, or made of the frame as it came. What it is made of has to stay.
class StreamedPlate {
 public:
  // `given`, of at least one pixel, may be null. Throws std::bad_alloc, and what Workers::run throws.
  StreamedPlate(const ConstFrame& frame, bool blueScreen, const KALVETRA_Param& param, const KnownPlate* given,
                const Workers* workers);

  // False where vectors do not cover its sizes; then it has no rows.
  bool possible() const { return possible_; }

  // Its rows in the frame's size and byte order, from one on.
  class Rows {
   public:
    // `kept`: how many rows stay valid, the last one included.
    Rows(const StreamedPlate& plate, int firstRow, int kept);
    // Row y, after row y - 1.
    const unsigned char* row(int y);

   private:
    const StreamedPlate& plate_;
    int kept_;
    simd::ByteOrder order_, wanted_;
    std::size_t pixels_;
    std::optional<simd::ResampledRows> enlarged_;  // none where the plate has the frame's size
    std::unique_ptr<unsigned char[]> room_;        // none where its rows are taken as they are
  };

 private:
  bool estimate(const KALVETRA_Param& param, const Workers* workers);
  void reduce(const simd::ResamplePlan& reducing, const Frame& small, const Bands& bands) const;

  ConstFrame frame_;
  bool blueScreen_;
  ConstFrame picture_{};
  std::unique_ptr<unsigned char[]> own_;  // of picture_, unless it was given
  std::optional<simd::ResamplePlan> enlarging_;
  bool possible_ = false;
};

}  // namespace kalvetra
