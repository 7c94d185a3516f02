// The fitted plate on drawn frames whose bare screen is known.
#include "plates/fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace kalvetra {
namespace {

struct Rgb {
  double red, green, blue;
};

using Scene = std::function<Rgb(double x, double y)>;  // places 0..1

constexpr int kWidth = 640, kHeight = 360;

std::vector<unsigned char> drawn(const Scene& scene, double noise = 0.0, int width = kWidth, int height = kHeight) {
  std::vector<unsigned char> argb;
  unsigned int state = 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const Rgb c = scene((x + 0.5) / width, (y + 0.5) / height);
      argb.push_back(255);
      for (const double value : {c.red, c.green, c.blue}) {
        state = state * 1664525u + 1013904223u;
        const double shake = noise * (state / 4294967296.0 - 0.5) * 3.46;  // of that standard deviation
        argb.push_back(static_cast<unsigned char>(std::clamp(value + shake + 0.5, 0.0, 255.0)));
      }
    }
  }
  return argb;
}

KeySettings keyed(Rgb key) {
  KeySettings settings{};
  settings.keyColor = {key.red / 255, key.green / 255, key.blue / 255};
  return settings;
}

constexpr Rgb kGreen{50, 180, 60};

Rgb lit(double light) { return {kGreen.red * light, kGreen.green * light, kGreen.blue * light}; }
// From 100 % of the light on the right to 30 % on the left.
Rgb falling(double x, double) { return lit(0.3 + 0.7 * x * x * (3 - 2 * x)); }
bool inBody(double x, double y) { return std::hypot((x - 0.5) * 1.78, y - 0.9) < 0.45; }

FittedPlate fit(const std::vector<unsigned char>& argb, int width = kWidth, int height = kHeight) {
  return fitPlate(packedFrame(argb.data(), width, height), keyed(kGreen));
}

// The largest error of a channel against the true screen, where `counts`.
double worstError(const Plate& plate, const Scene& truth, const std::function<bool(double, double)>& counts) {
  double worst = 0.0;
  for (int y = 0; y < plate.height; ++y) {
    for (int x = 0; x < plate.width; ++x) {
      const double px = (x + 0.5) / plate.width, py = (y + 0.5) / plate.height;
      if (!counts(px, py)) continue;
      const Rgb t = truth(px, py);
      const unsigned char* pixel = plate.argb.data() + 4 * (y * plate.width + x);
      worst = std::max({worst, std::abs(pixel[1] - t.red), std::abs(pixel[2] - t.green), std::abs(pixel[3] - t.blue)});
    }
  }
  return worst;
}

TEST(FitPlate, FollowsAStrongFallOfLightAndContinuesItUnderTheSubject) {
  const auto frame = drawn([](double x, double y) { return inBody(x, y) ? Rgb{150, 110, 90} : falling(x, y); }, 2.0);
  const FittedPlate fitted = fit(frame);
  EXPECT_TRUE(fitted.sure) << fitted.why;
  EXPECT_NEAR(fitted.plate.noise, 2.0, 0.5);
  EXPECT_LT(worstError(fitted.plate, falling, [](double x, double y) { return !inBody(x, y); }), 3.0);
  EXPECT_LT(worstError(fitted.plate, falling, inBody), 12.0);
}

TEST(FitPlate, AnswersFramesWithoutAScreen) {
  for (const auto& [width, height] : {std::pair{0, 0}, {1, 1}, {3, 1}, {1, 200}, {64, 36}}) {
    const auto grey = drawn([](double, double) { return Rgb{90, 90, 90}; }, 1.0, width, height);
    const FittedPlate fitted = fit(grey, width, height);
    EXPECT_FALSE(fitted.sure);
    EXPECT_FALSE(fitted.why.empty());
    EXPECT_EQ(fitted.plate.argb.size(), 4u * fitted.plate.width * fitted.plate.height);
    EXPECT_EQ(fitted.bare.size(), 1u * fitted.plate.width * fitted.plate.height);
  }
  EXPECT_FALSE(
      fitPlate(packedFrame(drawn(falling).data(), kWidth, kHeight), KeySettings{}).sure);  // black keys nothing
}

}  // namespace
}  // namespace kalvetra
