// Settings as the render entry takes them.
#pragma once

#include <cstddef>

#include "engine/render_entry.h"
#include "parameters/key_settings.h"

namespace kalvetra {

inline RenderValues valuesOf(const KeySettings& s) {
  return {s.view,          s.keyColor[0],  s.keyColor[1],       s.keyColor[2],  s.smoothBG,
          s.shadow,        s.clipBlack,    s.clipWhite,         s.deBlocking,   s.deBlockValue,
          s.edgeContract,  s.contractMask, s.contractThreshold, s.edgeBlur,     s.maskBlurRadius,
          s.maskBlurValue, s.skinHue,      s.blueHue,           s.despillWhite, s.despillSkin,
          s.despillBlue,   s.screenGain};
}

inline HostFrame packedFrame(const unsigned char* input, unsigned char* output, int width, int height) {
  const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
  return {input, stride, output, stride, width, height};
}

}  // namespace kalvetra
