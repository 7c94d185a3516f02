#include "deep/expected_chroma.h"

#include <algorithm>

#include "engine/exposure_curve.h"

namespace kalvetra::deep {

namespace {

constexpr int kExposures = 1024;  // steps of less than a level from luminance 80 on, whatever the key colour

}  // namespace

ExpectedChroma::ExpectedChroma(unsigned char red, unsigned char green, unsigned char blue) {
  const YIQ key = colorOf(red, green, blue);
  nodes_.fill(chromaOf(key));
  if (key.Y <= kDarkest) return;
  perLevel_ = kIntervals / (key.Y - kDarkest);

  const ExposureCurve curve;
  const double lights[] = {curve.linear(red), curve.linear(green), curve.linear(blue)};
  const auto exposed = [&](int step) {
    const auto level = [&](double light) { return std::max(curve.level(light, step / double{kExposures}), 0.0f); };
    return colorOf(level(lights[0]), level(lights[1]), level(lights[2]));
  };
  YIQ before = exposed(0);
  std::size_t node = 0;
  for (int step = 1; step <= kExposures; ++step) {
    const YIQ color = step < kExposures ? exposed(step) : key;
    for (; node < kIntervals; ++node) {
      const float y = kDarkest + static_cast<float>(node) / perLevel_;
      if (y > color.Y) break;
      nodes_[node] = mix(chromaOf(before), chromaOf(color), (y - before.Y) / (color.Y - before.Y));
    }
    before = color;
  }
}

}  // namespace kalvetra::deep
