#include "plates/fit_reference.h"

#include <algorithm>

#include "engine/KalvetraFinalCut.h"
#include "imaging/numeric.h"

namespace kalvetra::plates {

Plane keyedAlpha(const Picture& picture, const std::array<double, 3>& keyColor, const KnownPlate* plate,
                 const Workers* workers) {
  KeySettings plain{};
  plain.view = kKalvetraViewResult;
  plain.keyColor = keyColor;
  plain.smoothBG = 1;
  plain.shadow = 100;
  plain.clipWhite = 100;
  plain.despillWhite = plain.despillSkin = 20;
  plain.screenGain = 33;
  const int width = picture.seen.width, height = picture.seen.height;
  std::vector<unsigned char> source(picture.seen.values.size() * kPixelBytes), keyed(source.size());
  for (std::size_t i = 0; i < picture.seen.values.size(); ++i) {
    unsigned char* pixel = source.data() + i * kPixelBytes;
    pixel[0] = 255;
    for (std::size_t c = 0; c < 3; ++c) pixel[c + 1] = truncToByte(picture.color[c][i] + 0.5f);
  }
  render(plain, packedFrame(source.data(), width, height), packedFrame(keyed.data(), width, height),
         {.workers = workers, .plate = plate});
  Plane alpha(width, height);
  for (std::size_t i = 0; i < alpha.values.size(); ++i) {
    alpha[i] = static_cast<float>(keyed[i * kPixelBytes]) / 255.0f;
  }
  return alpha;
}

Plane clearInOwnKey(const Plane& own, const Plane& calm, float unit, const Workers* workers) {
  Plane clear(own.width, own.height), visible(own.width, own.height);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    clear[i] = smoothStep(0.06f + 0.09f * calm[i], 0.015f + 0.045f * calm[i], own[i]);
    visible[i] = smoothStep(0.1f + 0.12f * calm[i], 0.3f + 0.12f * calm[i], own[i]);
  }
  constexpr float kAway = 70.0f;  // 1080ths of the height that what is seen keeps its surroundings
  const Plane small = halved(halved(boxMean(visible, 1, workers), workers), workers);
  const Plane beside = enlarged(envelope(small, Plane(small.width, small.height, 4.0f / (kAway * unit))), own.width,
                                own.height, workers);
  clear = boxMean(clear, pixelsOf(8.0f, unit), workers);
  for (std::size_t i = 0; i < clear.values.size(); ++i) {
    clear[i] = smoothStep(0.9f, 1.0f, clear[i]) * smoothStep(0.6f, 0.2f, beside[i]);
  }
  return clear;
}

std::string doubtsOf(const Plane& bare, const Plane& own, const Plane& fitted) {
  // Shares of the picture: bare screen, what the engine keys away and what the fit leaves of it, what it keeps and the
  // fit takes though it is no screen.
  double covered = 0.0, clear = 0.0, left = 0.0, solid = 0.0, lost = 0.0;
  for (std::size_t i = 0; i < bare.values.size(); ++i) {
    covered += static_cast<double>(bare[i]);
    if (own[i] < 0.03f) {
      clear += 1.0;
      left += static_cast<double>(fitted[i]);
    } else if (own[i] > 0.9f && bare[i] < 0.05f) {
      solid += 1.0;
      lost += static_cast<double>(1.0f - fitted[i]);
    }
  }
  const auto pixels = static_cast<double>(bare.values.size());
  constexpr double kLeastCovered = 0.03, kMostLeft = 0.04, kMostLost = 0.04;
  if (covered < kLeastCovered * pixels) return "too little of the bare screen is seen to fit a plate to it";
  if (left > kMostLeft * std::max(clear, 0.05 * pixels)) {
    return "the backdrop is not of one paint: a fitted plate would leave a part of it in the picture";
  }
  if (lost > kMostLost * std::max(solid, 0.05 * pixels)) {
    return "the subject is too like the screen: a fitted plate would take a part of it away";
  }
  return {};
}

}  // namespace kalvetra::plates
