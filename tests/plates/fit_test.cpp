// The fitted plate on drawn frames whose bare screen is known.
#include "plates/fit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "cpu/cpu_level.h"
#include "plates/fit_reference.h"

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

// What lies on an evenly lit screen and is not bare: darker, paler or both.
TEST(FitPlate, LeavesShadowsVeilsAndStrandsAlone) {
  const Scene scene = [](double x, double y) {
    if (inBody(x, y)) return Rgb{120, 90, 80};
    if (inBody(x - 0.03, y)) return lit(0.6);                                          // the body's shadow
    if (x < 0.2 && y > 0.5) return Rgb{0.7 * 50 + 60, 0.7 * 180 + 60, 0.7 * 60 + 60};  // a veil of 30 %
    if (std::abs(y - 0.3 - 0.2 * (x - 0.5)) < 0.006 && std::abs(x - 0.5) < 0.2) return Rgb{45, 110, 50};  // a strand
    return kGreen;
  };
  const FittedPlate fitted = fit(drawn(scene, 1.5));
  EXPECT_TRUE(fitted.sure) << fitted.why;
  const Scene bare = [](double, double) { return kGreen; };
  EXPECT_LT(worstError(fitted.plate, bare, [](double, double) { return true; }), 5.0);
}

// Else the paint in bright light would be taken to be what the veil shows.
TEST(FitPlate, IsNotLedByTheOneBrightThing) {
  const Scene scene = [](double x, double y) {
    if (inBody(x, y)) return Rgb{120, 90, 80};
    return x < 0.2 && y > 0.5 ? Rgb{0.7 * 50 + 60, 0.7 * 180 + 60, 0.7 * 60 + 60} : kGreen;
  };
  const Scene bare = [](double, double) { return kGreen; };
  EXPECT_LT(worstError(fit(drawn(scene, 1.5)).plate, bare, [](double, double) { return true; }), 3.0);
}

// A lamp's glare grows slowly paler and stays screen.
TEST(FitPlate, FollowsGlareAndShadeThatBeginAtNoEdge) {
  const Scene glare = [](double x, double y) {
    const double pale = 13.0 * std::exp(-15.0 * ((x - 0.8) * (x - 0.8) + (y - 0.4) * (y - 0.4)));
    return Rgb{kGreen.red + pale, kGreen.green - 2 * pale, kGreen.blue + pale};
  };
  const auto frame = drawn(
      [&](double x, double y) {
        return inBody(x + 0.3, y) ? Rgb{150, 110, 90} : glare(x, y);
      },
      1.5);
  const auto beside = [](double x, double y) { return !inBody(x + 0.3, y); };
  EXPECT_LT(worstError(fit(frame).plate, glare, beside), 3.0);
}

// In such a shade, which no model of one paint explains, the engine's own plate would leave less to be seen.
TEST(FitPlate, LeavesHardlyMoreOfAShadeOfAnotherHueThanTheEnginesOwnPlate) {
  const auto inShade = [](double x, double y) { return inBody(x - 0.05, y) && !inBody(x, y) && !inBody(x + 0.02, y); };
  const auto frame = drawn(
      [](double x, double y) {
        if (inBody(x, y)) return Rgb{120, 90, 80};
        return inBody(x - 0.06, y) ? Rgb{29, 148, 41} : kGreen;
      },
      1.5);
  const plates::ReducedKey key(plates::reducedPicture(packedFrame(frame.data(), kWidth, kHeight), kLongestFit, nullptr),
                               keyed(kGreen).keyColor, nullptr);
  const FittedPlate fitted = fit(frame);
  const KnownPlate known = fitted.plate.known();
  const plates::Plane own = key.alpha(nullptr), alpha = key.alpha(&known);
  double more = 0.0, count = 0.0;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      if (!inShade((x + 0.5) / kWidth, (y + 0.5) / kHeight)) continue;
      more += alpha.row(y)[x] - own.row(y)[x];
      ++count;
    }
  }
  EXPECT_LT(more / count, 0.02);
}

TEST(FitPlate, IsAlmostTheSameForTwoCodingsOfOnePicture) {
  const Scene scene = [](double x, double y) { return inBody(x, y) ? Rgb{150, 110, 90} : falling(x, y); };
  const Scene other = [&](double x, double y) {  // as a lossy codec leaves it: blocks a level off
    const Rgb c = scene(x, y);
    const double off = (static_cast<int>(x * 80) * 7 + static_cast<int>(y * 45) * 13) % 3 - 1;
    return Rgb{c.red + off, c.green + 0.5 * off, c.blue - off};
  };
  const Plate first = fit(drawn(scene, 1.5)).plate, second = fit(drawn(other)).plate;
  double sum = 0.0;
  for (std::size_t i = 0; i < first.argb.size(); ++i) sum += std::abs(first.argb[i] - second.argb[i]);
  EXPECT_LT(sum / static_cast<double>(first.argb.size()), 0.5);
}

TEST(FitPlate, IsExactWhereAllIsOneColor) {
  const FittedPlate fitted = fit(drawn([](double, double) { return kGreen; }));
  EXPECT_TRUE(fitted.sure) << fitted.why;
  EXPECT_GT(fitted.covered, 0.99);
  EXPECT_EQ(fitted.plate.noise, 0.0f);
  EXPECT_LE(worstError(
                fitted.plate, [](double, double) { return kGreen; }, [](double, double) { return true; }),
            0.0);
}

TEST(FitPlate, HasTheSameBytesOnAnyThreadsAndProcessorAndForBlue) {
  const auto frame = drawn([](double x, double y) { return inBody(x, y) ? Rgb{150, 110, 90} : falling(x, y); }, 2.0);
  const FittedPlate alone = fit(frame);
  for (const int threads : {1, 2, 7}) {
    const Workers workers{threads, [](int parts, const std::function<void(int)>& work) {
                            for (int part = parts; part-- > 0;) work(part);
                          }};
    const FittedPlate shared = fitPlate(packedFrame(frame.data(), kWidth, kHeight), keyed(kGreen), &workers);
    EXPECT_EQ(shared.plate.argb, alone.plate.argb) << threads;
    EXPECT_EQ(shared.bare, alone.bare) << threads;
  }
  {
    const CpuLevelScope scalar(CpuLevel::Scalar);
    EXPECT_EQ(fit(frame).plate.argb, alone.plate.argb);
  }
  const auto swapped = [](std::vector<unsigned char> argb) {
    for (std::size_t i = 0; i < argb.size(); i += 4) std::swap(argb[i + 2], argb[i + 3]);
    return argb;
  };
  KeySettings blue = keyed({kGreen.red, kGreen.blue, kGreen.green});
  blue.screen = 1;
  EXPECT_EQ(fitPlate(packedFrame(swapped(frame).data(), kWidth, kHeight), blue).plate.argb, swapped(alone.plate.argb));
}

// The subject covers more and more of the screen, until too little is seen to fit a plate to it.
TEST(FitPlate, FadesToTheEnginesOwnPlate) {
  float trust = 1.0f;
  int partly = 0;
  for (double part = 0.04; part > 0.027; part -= 0.0025) {
    const auto frame = drawn([&](double x, double) { return x < part ? lit(0.6 + 4 * x) : Rgb{150, 110, 90}; });
    const FittedPlate fitted = fit(frame), faded = fadedFit(packedFrame(frame.data(), kWidth, kHeight), keyed(kGreen));
    EXPECT_EQ(fitted.sure, fitted.trust >= 1.0f) << part;
    EXPECT_EQ(fitted.sure, faded.plate.argb == fitted.plate.argb) << part;
    EXPECT_LE(fitted.trust, trust) << part;
    trust = fitted.trust;
    partly += trust > 0.05f && trust < 0.95f ? 1 : 0;
  }
  EXPECT_EQ(trust, 0.0f);
  EXPECT_GE(partly, 2);
}

TEST(FitPlate, AnswersFramesWithoutAScreen) {
  for (const auto& [width, height] : {std::pair{0, 0}, {1, 1}, {3, 1}, {1, 200}, {64, 36}}) {
    const auto grey = drawn([](double, double) { return Rgb{90, 90, 90}; }, 1.0, width, height);
    const FittedPlate fitted = fit(grey, width, height);
    EXPECT_FALSE(fitted.sure);
    EXPECT_FALSE(fitted.why.empty());
    EXPECT_EQ(fitted.plate.argb.size(), fitted.bare.size() * 4);
    EXPECT_EQ(fitted.bare.size(),
              static_cast<std::size_t>(fitted.plate.width) * static_cast<std::size_t>(fitted.plate.height));
  }
  EXPECT_FALSE(
      fitPlate(packedFrame(drawn(falling).data(), kWidth, kHeight), KeySettings{}).sure);  // black keys nothing
}

}  // namespace
}  // namespace kalvetra
