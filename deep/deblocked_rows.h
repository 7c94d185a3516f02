// The frame's rows with their colour softened against the blocky chroma of subsampled video, luma kept.
#pragma once

#include <vector>

#include "deep/box_averages.h"
#include "deep/rows.h"
#include "engine/frame.h"

namespace kalvetra::deep {

// The colour differences become their averages over a square window. They count as at most 16384 levels.
class DeblockedRows {
 public:
  // Of a frame of any format, from `firstRow` on; it has to stay. `radius` at least 1, in pixels. `kept`: how many rows
  // stay valid, the last one included.
  DeblockedRows(const ConstFrame& frame, bool blueScreen, int radius, int firstRow, int kept = 8);

  // Row y, `firstRow` at first, then each after the one before; in working colours, its alpha the frame's.
  ConstRow row(int y);

 private:
  ConstFrame frame_;
  bool blueScreen_;
  int radius_, ringRows_, kept_;
  int split_;       // rows taken apart so far, or above the first that is needed
  RowBuffer ring_;  // luma, blue and red difference in the places of the colours
  RowBuffer rows_, blurred_;
  BoxAverages blue_, red_;
};

}  // namespace kalvetra::deep
