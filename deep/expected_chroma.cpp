#include "deep/expected_chroma.h"

#include <algorithm>

#include "engine/exposure_curve.h"

namespace kalvetra::deep {

namespace {

constexpr int kExposures = 1024;  // steps of less than a level from luminance 80 on, whatever the key colour

// On the mean what a table in bytes stands for with this entry.
Chroma entryOf(YIQ truncated) { return {truncated.I + 0.5f, truncated.Q + 0.5f}; }

// The last of the table's exposures whose luminance comes to 80.
template <class Coded>
Chroma darkEntry(const Coded& codedAt) {
  int first = 0, count = ExposureCurve::kSteps;  // exposures that may be the first brighter one
  while (count > 0) {
    const int half = count / 2;
    if (codedAt(first + half).Y > 80.0f) {
      count = half;
    } else {
      first += half + 1;
      count -= half + 1;
    }
  }
  return entryOf(codedAt(first - 1));
}

}  // namespace

ExpectedChroma::ExpectedChroma(unsigned char red, unsigned char green, unsigned char blue) {
  const YIQ key = colorOf(red, green, blue);
  nodes_.fill(entryOf(CImagingZEP().RGBtoYIQ(red, green, blue)));
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
  nodes_[0] = darkEntry([&](int i) {
    const double t = ExposureCurve::exposure(i);
    return CImagingZEP().RGBtoYIQ(curve.code(lights[0], t), curve.code(lights[1], t), curve.code(lights[2], t));
  });
}

}  // namespace kalvetra::deep
