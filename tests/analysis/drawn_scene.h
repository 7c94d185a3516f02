// Green-screen pictures whose true key is known.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "sample/test_images.h"

namespace kalvetra::test {

using Color = std::array<double, 3>;  // red, green, blue, 0..255

struct DrawnScene {
  int width = 480, height = 270;
  Color screen{45, 165, 75};
  Color skin{205, 150, 120}, shirt{40, 62, 150};
  double softness = 1.5;  // pixels over which the outline fades
  double noise = 0;       // greatest deviation of a channel, in levels
  double unevenness = 0;  // of the light from left to right, 0..1
  double veil = 0;        // opacity of a strip in the upper left
  Color veilColor{235, 235, 235};
  std::uint64_t seed = 1;

  Bytes frame, backdrop;       // host order, opaque
  std::vector<double> alpha;   // 0..1
  std::vector<Color> subject;  // not multiplied

  // Fills frame, backdrop, alpha and subject.
  DrawnScene& draw() {
    Random random(seed);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) drawPixel(x, y, random);
    }
    return *this;
  }

  // Mean difference to the truth in levels, laid over mid grey and over magenta.
  double errorOf(const Bytes& keyed) const {
    const Color backs[] = {{128, 128, 128}, {255, 0, 255}};
    double sum = 0;
    for (std::size_t i = 0; i < alpha.size(); ++i) {
      const double a = keyed[i * 4] / 255.0;
      for (const Color& back : backs) {
        for (std::size_t c = 0; c < 3; ++c) {
          sum += std::abs(a * keyed[i * 4 + 1 + c] - alpha[i] * subject[i][c] + back[c] * (alpha[i] - a));
        }
      }
    }
    return sum / 6.0 / static_cast<double>(alpha.size());
  }

 private:
  // A head over a body: opacity by the distance to the outline.
  double cover(double distance) const { return std::clamp(0.5 - distance / softness, 0.0, 1.0); }
  void drawPixel(int x, int y, Random& random) {
    const double head = std::hypot(x - width * 0.5, (y - height * 0.35) * 0.85) - height * 0.18;
    const double body = std::max(std::abs(x - width * 0.5) - width * 0.17, height * 0.55 - y);
    const double strip = std::max(std::abs(x - width * 0.17) - width * 0.09, y - height * 0.7);
    const double headCover = cover(head), bodyCover = cover(body);
    const double ripple = 0.75 + 0.25 * std::sin(x / 25.0);
    double opacity = 1 - (1 - headCover) * (1 - bodyCover);
    Color own{};
    for (std::size_t c = 0; c < 3; ++c) {
      const double shade = 0.85 + 0.15 * std::sin(x / 31.0 + y / 23.0);
      own[c] = (headCover * skin[c] + (1 - headCover) * bodyCover * shirt[c] * shade) / std::max(opacity, 1e-9);
    }
    if (opacity == 0 && veil > 0 && strip < 0) opacity = veil * ripple, own = veilColor;
    const double light = 1 - unevenness * x / width;
    frame.push_back(255);
    backdrop.push_back(255);
    for (std::size_t c = 0; c < 3; ++c) {
      backdrop.push_back(static_cast<unsigned char>(screen[c] * light + 0.5));
      const int most = static_cast<int>(noise * 100);
      const double v = opacity * own[c] + (1 - opacity) * screen[c] * light + random.within(-most, most) / 100.0;
      frame.push_back(static_cast<unsigned char>(std::clamp(v + 0.5, 0.0, 255.0)));
    }
    alpha.push_back(opacity);
    subject.push_back(own);
  }
};

}  // namespace kalvetra::test
