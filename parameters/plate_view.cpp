#include "parameters/plate_view.h"

#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

bool renderPlate(const KeySettings& s, const unsigned char* input, unsigned char* output, int width, int height) {
  return KalvetraBackgroundPlate(reinterpret_cast<char*>(output), reinterpret_cast<const char*>(input), width, height,
                                 s.keyColor[0], s.keyColor[1], s.keyColor[2], s.smoothBG, s.skinHue, s.blueHue);
}

}  // namespace kalvetra
