// The faults at one pixel, and those between neighbours.
#include <algorithm>
#include <cmath>

#include "analysis/key_faults_maps.h"

namespace kalvetra::faults {

namespace {

// Chroma speaks for alpha no better than this: what is subject may share a little of the screen's colour, by spill or
// by itself.
constexpr float kFilledSlack = 0.2f, kEatenSlack = 0.2f;
constexpr float kLevelSlack = 4.0f;     // of colour, for noise and rounding
constexpr float kSpill = 0.15f;         // of the screen's chroma, that may have to be taken out of a solid
constexpr float kFarFromScreen = 0.1f;  // cosine between hues up to which a colour is none of the screen's
constexpr float kOlive = 0.15f;         // of what lies across the screen's hue: spill held at a hue bound is olive
constexpr float kLeftSlack = 0.5f;
constexpr float kOwnLean = 0.1f, kSpillLean = 0.3f;  // part along the screen over that across it
constexpr int kBlock = 8;
constexpr float kLight = 2.0f;         // levels of the matte that a level of the source's light explains
constexpr float kHighestStep = 32.0f;  // levels of the matte; what is higher counts no more, as it may be an outline

float beyond(float value, float slack) { return std::max(value - slack, 0.0f); }

// How far a colour lies on the screen's side of grey, in levels, where the source leans to the screen by more than a
// yellow or a light blue does by itself.
float leftOfScreen(Chroma from, Chroma to, Chroma screen) {
  const float reach = std::max(length(screen), 5.0f);
  const float along = dot(from, screen) / reach;
  const float across = std::abs(from.I * screen.Q - from.Q * screen.I) / reach;
  const float leaning = plates::smoothStep(kOwnLean, kSpillLean, along / std::max(across, 1.0f));
  const float left = dot(to, screen) + kOlive * std::abs(to.I * screen.Q - to.Q * screen.I);
  return leaning * beyond(left / reach, kLeftSlack);
}

// A change of colour that taking the screen's spill out does not explain.
float turned(Chroma from, Chroma to, Chroma screen) {
  const float reach = std::max(length(screen), 5.0f);
  if (dot(from, screen) > kFarFromScreen * length(from) * reach) return 0.0f;
  const Chroma change = to - from, along = screen / reach;
  const float by = dot(change, along);
  const Chroma across = change - along * by;
  const float explained = std::clamp(by, -kSpill * reach, 0.0f);
  return beyond(length(across + along * (by - explained)), kLevelSlack);
}

}  // namespace

PixelFaults faultsAt(const Maps& maps, std::size_t n) {
  const float alpha = maps.alpha[n], covered = 1.0f - maps.bare[n];
  const Chroma source = maps.source.at(n), keyed = maps.keyed.at(n), screen = maps.screen.at(n);
  const float left = alpha * leftOfScreen(source, keyed, screen);
  const float known = std::max(maps.oppositeNear[n], ofHue(source, screen, -1.0f));
  PixelFaults f{};
  f.haze = alpha;
  f.filled = covered * beyond(maps.nearAlpha[n] - maps.opacity[n], kFilledSlack);
  f.eaten = covered * beyond(maps.opacity[n] - maps.nearAlpha[n], kEatenSlack);
  (maps.rim[n] > 0.0f ? f.screenLeft : f.spillLeft) = left;
  f.opposite = alpha * beyond(ofHue(keyed, screen, -1.0f), known + kLevelSlack);
  f.turned = alpha * maps.opacity[n] * covered * turned(source, keyed, screen);
  return f;
}

double blockSteps(const Maps& maps) {
  const auto levels = [](float a, float b) { return 255.0f * std::abs(a - b); };
  double sums[2] = {}, counts[2] = {};
  const int width = maps.alpha.width, height = maps.alpha.height;
  const auto visit = [&](int place, std::size_t n, std::size_t step) {
    const float before = maps.alpha[n - step], here = maps.alpha[n];
    if (std::max(before, here) <= 0.02f || std::min(before, here) >= 0.98f) return;
    const float calm = std::max(levels(maps.alpha[n - 2 * step], before), levels(here, maps.alpha[n + step]));
    const float light = std::abs(maps.sourceLuma[n] - maps.sourceLuma[n - step]);
    const int grid = place % kBlock == 0 ? 0 : 1;
    sums[grid] += static_cast<double>(std::min(beyond(levels(before, here), calm + kLight * light), kHighestStep));
    counts[grid] += 1.0;
  };
  for (int y = 0; y < height; ++y) {
    for (int x = 2; x < width - 1; ++x) visit(x, maps.alpha.index(x, y), 1);
  }
  for (int y = 2; y < height - 1; ++y) {
    for (int x = 0; x < width; ++x) visit(y, maps.alpha.index(x, y), static_cast<std::size_t>(width));
  }
  if (counts[0] == 0.0 || counts[1] == 0.0) return 0.0;
  const double excess = std::max(sums[0] / counts[0] - sums[1] / counts[1], 0.0);
  return excess * (counts[0] + counts[1]) / 2.0;
}

}  // namespace kalvetra::faults
