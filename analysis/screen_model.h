// What the bare screen looks like at every place of a picture, also behind the subject.
#pragma once

#include <array>
#include <vector>

#include "analysis/plane.h"

namespace kalvetra {

// Red, green and blue, 0..255.
using Rgb = std::array<float, 3>;

// A picture as three planes.
using RgbPlanes = std::array<Plane, 3>;

// From host order (bytes alpha, red, green, blue), packed.
RgbPlanes planesOf(const unsigned char* argb, int width, int height);

inline Rgb colorAt(const RgbPlanes& planes, std::size_t i) { return {planes[0][i], planes[1][i], planes[2][i]}; }

// Distance of two colours' shares of red and blue in their sum (0..1): 0 for one paint under any amount of light.
float paintDistance(const Rgb& a, const Rgb& b);
inline constexpr float kSamePaint = 0.05f;

class ScreenModel {
 public:
  // `soft` is the picture under a small blur. Where less than half of a block of pixels is screen, it is continued from
  // the blocks around; with no such block at all it is `color` everywhere.
  ScreenModel(const RgbPlanes& picture, const RgbPlanes& soft, const Rgb& color);

  Rgb at(int x, int y) const;
  // Standard deviation of a channel between the screen's pixels of one place, in levels.
  float noise() const { return noise_; }
  // From the darkest to the brightest place, in percent of the brightest; the outermost twentieths are left out.
  float unevenness() const { return unevenness_; }

 private:
  struct Block {
    Rgb color{};
    bool known = false;
  };
  Block& block(int x, int y) { return blocks_[static_cast<std::size_t>(y * columns_ + x)]; }
  const Block& block(int x, int y) const { return blocks_[static_cast<std::size_t>(y * columns_ + x)]; }
  Rgb neighbourMean(int x, int y, bool& any) const;
  void measure(const RgbPlanes& picture, const Plane& screen);
  bool isSteep(int x, int y) const;
  std::vector<int> smoothRegions() const;
  bool liesBelowDrop(int x, int y, const std::vector<int>& region, int largest) const;
  void dropDarkLayers();
  void judgeLight();
  void continueOutwards(const Rgb& color);

  int columns_, rows_;
  std::vector<Block> blocks_;
  float noise_ = 0.0f;
  float unevenness_ = 0.0f;
};

}  // namespace kalvetra
