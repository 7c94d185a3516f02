#include "plates/fit_reference.h"

#include <algorithm>

#include "engine/KalvetraFinalCut.h"
#include "engine/render.h"
#include "imaging/numeric.h"

namespace kalvetra::plates {

namespace {

// The key colour at the default settings: the user's finish of the matte says nothing about the screen.
KeySettings plainKey(const KeySettings& settings) {
  KeySettings plain{};
  plain.view = kKalvetraViewResult;
  plain.keyColor = settings.keyColor;
  plain.smoothBG = 1;
  plain.shadow = 100;
  plain.clipWhite = 100;
  plain.despillWhite = plain.despillSkin = 20;
  plain.screenGain = 33;
  return plain;
}

}  // namespace

Plane clearInOwnKey(const Picture& picture, const KeySettings& settings, const Plane& calm, const Workers* workers) {
  const int width = picture.seen.width, height = picture.seen.height;
  std::vector<unsigned char> source(picture.seen.values.size() * kPixelBytes), keyed(source.size());
  for (std::size_t i = 0; i < picture.seen.values.size(); ++i) {
    unsigned char* pixel = source.data() + i * kPixelBytes;
    pixel[0] = 255;
    for (std::size_t c = 0; c < 3; ++c) pixel[c + 1] = truncToByte(picture.color[c][i] + 0.5f);
  }
  render(plainKey(settings), packedFrame(source.data(), width, height), packedFrame(keyed.data(), width, height),
         {.workers = workers});
  Plane clear(width, height), visible(width, height);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    const float alpha = static_cast<float>(keyed[i * kPixelBytes]) / 255.0f;
    clear[i] = smoothStep(0.06f + 0.09f * calm[i], 0.015f + 0.045f * calm[i], alpha);
    visible[i] = smoothStep(0.1f + 0.12f * calm[i], 0.3f + 0.12f * calm[i], alpha);
  }
  constexpr float kAway = 70.0f;  // 1080ths of the height that what is seen keeps its surroundings
  const Plane small = halved(halved(boxMean(visible, 1, workers), workers), workers);
  const Plane beside = enlarged(envelope(small, Plane(small.width, small.height, 4.0f / (kAway * picture.unit))), width,
                                height, workers);
  clear = boxMean(clear, pixelsOf(8.0f, picture.unit), workers);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    clear[i] = smoothStep(0.9f, 1.0f, clear[i]) * smoothStep(0.6f, 0.2f, beside[i]);
  }
  return clear;
}

}  // namespace kalvetra::plates
