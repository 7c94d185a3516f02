#include "parameters/key_settings.h"

#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_table.h"
#include "parameters/render_values.h"

namespace kalvetra {

KeySettings defaultSettings() {
  KeySettings settings{};
  for (const Parameter& p : kParameters) {
    if (p.value != nullptr) settings.*p.value = p.defaultValue;
  }
  return settings;
}

void renderFrame(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width,
                 int height) {
  renderFrame(settings, input, {width, height}, output, {width, height}, {1.0, 1.0});
}

void renderFrame(const KeySettings& s, const unsigned char* input, FrameSize inputSize, unsigned char* output,
                 FrameSize outputSize, RenderScale scale) {
  KalvetraFinalCut(reinterpret_cast<char*>(output), outputSize.width, outputSize.height,
                   reinterpret_cast<const char*>(input), inputSize.width, inputSize.height, scale.x, scale.y, s.view,
                   s.keyColor[0], s.keyColor[1], s.keyColor[2], s.smoothBG, s.shadow, s.clipBlack, s.clipWhite,
                   s.deBlocking, s.deBlockValue, s.edgeContract, s.contractMask, s.contractThreshold, s.edgeBlur,
                   s.maskBlurRadius, s.maskBlurValue, s.skinHue, s.blueHue, s.despillWhite, s.despillSkin,
                   s.despillBlue, s.screenGain);
}

void renderFields(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width,
                  int height) {
  renderView(packedFrame(input, output, width, height), valuesOf(settings), Scan::Fields);
}

bool renderPlate(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width,
                 int height) {
  return renderPlateOf(packedFrame(input, output, width, height), valuesOf(settings));
}

}  // namespace kalvetra
