// How a clip's luma is spread, to distinguish limited from full range.
#pragma once

#include <array>
#include <cstdint>

#include "media/ffmpeg.h"

namespace kalvetra {

// What the picture itself says against the range that it is taken for.
enum class RangeDoubt {
  None,
  LooksLimited,  // taken for full, but black and white pile up at 16 and 235, with nothing beyond
  LooksFull,     // taken for limited, but much lies far below 16, or both far below 16 and far above 235
};

class LumaStatistics {
 public:
  // Pictures of YUV or grey; others are passed over.
  void add(const AVFrame& picture);
  // A clip without blacks or whites, and highlights above white as cameras record them, raise no doubt.
  RangeDoubt doubt(bool takenForFull) const;

 private:
  double share(int lowest, int highest) const;  // of the samples, 0..1

  std::array<std::int64_t, 256> levels_{};  // of 8 bits
  std::int64_t total_ = 0;
};

}  // namespace kalvetra
