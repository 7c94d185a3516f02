// The screen's paint: which shares of red and blue it has at a place and in a light.
#pragma once

#include <array>

#include "plates/fit_picture.h"

namespace kalvetra::plates {

// A colour's shares of red and blue in its sum.
struct Shares {
  float red, blue;
};

// A difference of shares, seen from the key: along the way to grey (above 0: paler), and across it.
struct Shift {
  float pale, across;
};

inline constexpr float kDarkestScreen = -3.5f, kBrightestScreen = 1.6f;  // octaves from the key's light

class PaleAxis {
 public:
  explicit PaleAxis(const std::array<double, 3>& keyColor);
  Shift of(Shares from, Shares to) const;
  // 1 where shares may be the screen's, for a key that was picked from it, 0 where they surely are not.
  float admits(Shares shares) const;
  Shares key() const { return key_; }
  float length() const { return length_; }  // from the key to grey: 0 grey, up to .75

 private:
  Shares key_, toGrey_;
  float length_;
};

// Shares as a smooth function of place and light: quadratic in both, for lamps and shade differ in hue.
class PaintModel {
 public:
  PaintModel(const Picture& picture, const PaintAndLight& parted, const PaleAxis& axis);

  // The model along a row of the picture.
  struct Row {
    // `x` in pixels of the picture; light outside of what was seen counts as its darkest or brightest.
    Shares at(float x, float light) const;

    using Channel = std::array<float, 6>;  // factors of 1, x, x * x, light, light * light, light * x
    Channel red, blue;
    float scale, darkest, brightest;
  };
  Row rowAt(float y) const;
  float scatter() const { return scatter_; }  // of the screen's pixels about the model, along the pale axis

 private:
  static constexpr std::size_t kTerms = 10, kFirstOfLight = 6;
  using Terms = std::array<double, kTerms>;
  struct Sample;
  static Terms termsOf(double x, double y, double light);
  void solve(const std::vector<Sample>& samples, double pullOfLight);
  float scatterOf(const std::vector<Sample>& samples, const PaleAxis& axis) const;

  Terms red_{}, blue_{};
  float scaleX_, scaleY_;
  float darkest_ = 0.0f, brightest_ = 0.0f;
  float scatter_ = 0.0f;
};

}  // namespace kalvetra::plates
