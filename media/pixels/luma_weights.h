// How much red and blue count in luma.
#pragma once

#include <optional>

#include "media/ffmpeg.h"

namespace kalvetra {

// Green takes the rest to 1.
struct LumaWeights {
  double red;
  double blue;
};

inline constexpr LumaWeights kBt709Weights{0.2126, 0.0722};

// Nothing for a matrix that is no plain weighting of the three.
inline std::optional<LumaWeights> lumaWeights(AVColorSpace matrix) {
  switch (matrix) {
    case AVCOL_SPC_BT709:
      return kBt709Weights;
    case AVCOL_SPC_FCC:
      return LumaWeights{0.30, 0.11};
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M:
      return LumaWeights{0.299, 0.114};
    case AVCOL_SPC_SMPTE240M:
      return LumaWeights{0.212, 0.087};
    case AVCOL_SPC_BT2020_NCL:
      return LumaWeights{0.2627, 0.0593};
    default:
      return std::nullopt;
  }
}

}  // namespace kalvetra
