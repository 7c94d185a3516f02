#include "analysis/key_faults_maps.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "plates/fit.h"

namespace kalvetra::faults {

namespace {

using plates::boxMean;
using plates::Planes;

constexpr int kAreaParts = 360, kRimParts = 90, kNearParts = 40;  // radii: one of them of the picture's shorter side
constexpr float kSolid = 0.97f;                                   // opacity from which a place shows the subject alone
constexpr float kClear = 0.02f;                                   // alpha up to which the key is clear

// Host order, with green and blue changed for a blue screen.
std::vector<unsigned char> greened(const ConstFrame& frame, int screen) {
  std::vector<unsigned char> argb(static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height) * 4);
  auto to = argb.begin();
  for (int y = 0; y < frame.height; ++y) to = std::copy_n(frame.row(y), std::ptrdiff_t{4} * frame.width, to);
  if (screen == 1) {
    for (std::size_t i = 0; i < argb.size(); i += 4) std::swap(argb[i + 2], argb[i + 3]);
  }
  return argb;
}

void split(const std::vector<unsigned char>& argb, ChromaPlanes& chroma, Plane* luma) {
  for (std::size_t i = 0; i < chroma.i.values.size(); ++i) {
    const unsigned char* p = &argb[4 * i];
    const YIQ c = CImagingZEP().RGBtoYIQ2(p[1], p[2], p[3]);
    chroma.i[i] = c.I;
    chroma.q[i] = c.Q;
    if (luma != nullptr) (*luma)[i] = c.Y;
  }
}

Plane resized(const Plane& plane, int width, int height, const Workers* workers) {
  return plane.width == width && plane.height == height ? plane : plates::enlarged(plane, width, height, workers);
}

// The screen's chroma at each place and how surely it is bare, from the plate that the source speaks for.
void addScreen(const std::vector<unsigned char>& source, int keyColor, int screen, const Workers* workers, Maps& maps) {
  const int width = maps.alpha.width, height = maps.alpha.height;
  const int green = screen == 1 ? keyColor & 255 : keyColor >> 8 & 255;
  const int blue = screen == 1 ? keyColor >> 8 & 255 : keyColor & 255;
  KeySettings settings{};
  settings.keyColor = {(keyColor >> 16) / 255.0, green / 255.0, blue / 255.0};
  const FittedPlate fitted = fitPlate(packedFrame(source.data(), width, height), settings, workers);
  ChromaPlanes small{Plane(fitted.plate.width, fitted.plate.height), Plane(fitted.plate.width, fitted.plate.height)};
  split(fitted.plate.argb, small, nullptr);
  maps.screen = {resized(small.i, width, height, workers), resized(small.q, width, height, workers)};
  Plane bare(fitted.plate.width, fitted.plate.height);
  for (std::size_t i = 0; i < bare.values.size(); ++i) bare[i] = static_cast<float>(fitted.bare[i]) / 255.0f;
  maps.bare = resized(bare, width, height, workers);
}

Plane opacityOf(const Maps& maps, int radius, const Workers* workers) {
  Plane opacity(maps.alpha.width, maps.alpha.height);
  const ChromaPlanes source{boxMean(maps.source.i, radius, workers), boxMean(maps.source.q, radius, workers)};
  for (std::size_t i = 0; i < opacity.values.size(); ++i) {
    const Chroma s = maps.screen.at(i);
    opacity[i] = std::clamp(1.0f - dot(source.at(i), s) / std::max(dot(s, s), 25.0f), 0.0f, 1.0f);
  }
  return opacity;
}

// Where a box around reaches into what is clear.
Plane rimOf(const Plane& alpha, int radius, const Workers* workers) {
  Plane clear(alpha.width, alpha.height);
  for (std::size_t i = 0; i < clear.values.size(); ++i) clear[i] = alpha[i] <= kClear ? 1.0f : 0.0f;
  Plane rim = boxMean(clear, radius, workers);
  for (float& v : rim.values) v = v > 0.0f ? 1.0f : 0.0f;
  return rim;
}

Plane oppositeAround(const Maps& maps, int radius, const Workers* workers) {
  Plane opposite(maps.alpha.width, maps.alpha.height), weight = opposite;
  for (std::size_t i = 0; i < weight.values.size(); ++i) {
    if (maps.opacity[i] < kSolid) continue;
    weight[i] = 1.0f;
    opposite[i] = ofHue(maps.source.at(i), maps.screen.at(i), -1.0f);
  }
  opposite = boxMean(opposite, radius, workers);
  weight = boxMean(weight, radius, workers);
  for (std::size_t i = 0; i < weight.values.size(); ++i) opposite[i] /= std::max(weight[i], 1e-3f);
  return opposite;
}

}  // namespace

float ofHue(Chroma color, Chroma screen, float sign) {
  constexpr float kOpening = 1.5f;  // 34 degrees to each side
  const float reach = std::max(length(screen), 5.0f);
  const float along = dot(color, screen) / reach;
  const float across = (color.I * screen.Q - color.Q * screen.I) / reach;
  return std::max(sign * along - kOpening * std::abs(across), 0.0f);
}

Maps mapsOf(const ConstFrame& source, const ConstFrame& keyed, int keyColor, int screen, const Workers* workers) {
  const int width = source.width, height = source.height, shorter = std::min(width, height);
  const Plane empty(width, height);
  Maps maps{{empty, empty}, {empty, empty}, {}, empty, empty, empty, {}, {}, {}, {}, {}};
  const std::vector<unsigned char> from = greened(source, screen), to = greened(keyed, screen);
  split(from, maps.source, &maps.sourceLuma);
  split(to, maps.keyed, &maps.keyedLuma);
  for (std::size_t i = 0; i < empty.values.size(); ++i) maps.alpha[i] = static_cast<float>(to[4 * i]) / 255.0f;
  addScreen(from, keyColor, screen, workers, maps);
  const int area = std::max(shorter / kAreaParts, 1);
  maps.opacity = opacityOf(maps, area, workers);
  maps.nearAlpha = boxMean(maps.alpha, area, workers);
  maps.rim = rimOf(maps.alpha, std::max(shorter / kRimParts, 2), workers);
  maps.oppositeNear = oppositeAround(maps, std::max(shorter / kNearParts, 3), workers);
  return maps;
}

}  // namespace kalvetra::faults
