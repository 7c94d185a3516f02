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

bool renderFieldPlates(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width,
                       int height) {
  if (width < 1) return false;  // a frame without pixels may have no buffer to point into
  const std::ptrdiff_t stride = std::ptrdiff_t{4} * width;
  bool estimated = false;
  for (int first = 0; first < 2 && first < height; ++first) {
    const std::ptrdiff_t begin = first * stride;
    const HostFrame field{input + begin, 2 * stride, output + begin, 2 * stride, width, (height + 1 - first) / 2};
    estimated = renderPlateOf(field, valuesOf(settings));
  }
  return estimated;
}

}  // namespace kalvetra
