// Plates of frames in floats: those of the same frames in bytes, without steps.
#include <gtest/gtest.h>

#include <limits>

#include "cpu/cpu_level.h"
#include "plates/clean_plate.h"
#include "plates/fit_reference.h"
#include "plates/follow.h"
#include "plates/levels.h"
#include "plates/shot_plate.h"
#include "tests/plates/drawn_shot.h"

namespace kalvetra {
namespace {

using Floats = std::vector<float>;
using Levels = std::vector<double>;  // red, green, blue

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

Floats floatsOf(const Levels& levels) {
  Floats rgba;
  for (const double level : levels) {
    rgba.push_back(static_cast<float>(level / 255.0));
    if (rgba.size() % 4 == 3) rgba.push_back(1.0f);
  }
  return rgba;
}

Floats drawnFloats(const ShotFrame& f, bool isBare = false) { return floatsOf(drawnLevels(f, isBare)); }

ConstFrame frameOf(const Floats& rgba, int width = 320, int height = 180) {
  return packedFrame(reinterpret_cast<const unsigned char*>(rgba.data()), width, height, PixelFormat::RgbaF32);
}

FittedPlate floatFit(const ShotFrame& f) {
  FittedPlate fitted = perfectFit(f);
  fitted.plate.argb.clear();
  fitted.plate.rgba = drawnFloats(f, true);
  return fitted;
}

// The most that its error changes by from a pixel to the next: 1 where it is rounded.
double worstStep(const Plate& plate, const Levels& truth) {
  double worst = plate.pixels() * 3 == truth.size() ? 0.0 : 1e9;
  for (std::size_t i = 3; i < truth.size() && worst < 1e9; ++i) {
    const auto errorAt = [&](std::size_t k) {
      return static_cast<double>(plates::colorOf(plate, k / 3)[k % 3]) - truth[k];
    };
    worst = std::max(worst, std::abs(errorAt(i) - errorAt(i - 3)));
  }
  return worst;
}

double worstError(const Plate& plate, const Levels& truth) {
  EXPECT_EQ(plate.format(), PixelFormat::RgbaF32);
  double worst = plate.pixels() * 3 == truth.size() ? 0.0 : 1e9;
  for (std::size_t i = 0; i < plate.pixels() && worst < 1e9; ++i) {
    for (std::size_t c = 0; c < 3; ++c) {
      const double off = std::abs(static_cast<double>(plates::colorOf(plate, i)[c]) - truth[i * 3 + c]);
      worst = off <= worst ? worst : off == off ? off : 1e9;
    }
  }
  return worst;
}

Levels levelsOf(const Plate& plate) {
  Levels levels;
  for (std::size_t i = 0; i < plate.pixels(); ++i) {
    for (const float v : plates::colorOf(plate, i)) levels.push_back(static_cast<double>(v));
  }
  return levels;
}

KeySettings green(double light = 1.0) {
  KeySettings settings{};
  settings.keyColor = {45 * light / 255, 170 * light / 255, 60 * light / 255};
  return settings;
}

// A few levels over the whole width, with a body.
Levels gradient(double light, bool isBare = false) {
  Levels levels;
  for (int y = 0; y < 180; ++y) {
    for (int x = 0; x < 320; ++x) {
      const double l = light * (1.0 + 0.02 * x / 320);
      const bool isBody = !isBare && std::abs(x - 160) < 30 && y > 60;
      for (const double v : {45.0, 170.0, 60.0}) levels.push_back(isBody ? 90.0 : v * l);
    }
  }
  return levels;
}

TEST(FloatPlates, FitIsThatOfBytesWithinHalfALevel) {
  const std::vector<unsigned char> argb = drawnShot({});
  Levels levels;
  for (std::size_t i = 0; i < argb.size(); ++i) {
    if (i % 4 != 0) levels.push_back(argb[i]);
  }
  const Floats rgba = floatsOf(levels);
  const FittedPlate bytes = fitPlate(pictureOf({}, argb), green()), floats = fitPlate(frameOf(rgba), green());
  EXPECT_LT(worstError(floats.plate, levelsOf(bytes.plate)), 0.51);
  EXPECT_NEAR(floats.plate.noise, bytes.plate.noise, 1e-3);
  EXPECT_NEAR(floats.covered, bytes.covered, 1e-3);
  EXPECT_TRUE(bytes.sure && floats.sure);
  const Workers seven{7, [](int parts, const auto& work) {
                        for (int part = parts; part-- > 0;) work(part);
                      }};
  const CpuLevelScope scalar(CpuLevel::Scalar);
  EXPECT_EQ(fitPlate(frameOf(rgba), green(), &seven).plate.rgba, floats.plate.rgba);
}

// Screens brighter than white, too; and what is no number stays where it is.
TEST(FloatPlates, FitHasNoSteps) {
  for (const double light : {1.0, 1.8}) {
    Floats rgba = floatsOf(gradient(light));
    const Plate plate = fitPlate(frameOf(rgba), green(light)).plate;
    EXPECT_LT(worstError(plate, gradient(light, true)), 0.06) << light;
    for (const std::size_t pixel : {std::size_t{320} * 100 + 160, std::size_t{320} * 101 + 161})
      rgba[pixel * 4 + 1] = kNaN;
    rgba[4 * (320 * 110 + 150)] = std::numeric_limits<float>::infinity();
    EXPECT_LT(worstError(fitPlate(frameOf(rgba), green(light)).plate, gradient(light, true)), 0.06) << light;
  }
}

// What a fit gives way to is keyed in bytes.
TEST(FloatPlates, TheEnginesOwnPlateHasNoWholeSteps) {
  const plates::ReducedKey key(plates::reducedPicture(frameOf(floatsOf(gradient(1.0))), 320, nullptr), green().keyColor,
                               nullptr);
  const plates::Planes whole = key.ownPlate(), smooth = key.ownSmoothPlate();
  double off = 0.0;
  for (int x = 1; x < 320; ++x) {
    off += static_cast<double>(smooth[1].row(20)[x] - whole[1].row(20)[x]) / 319;
    EXPECT_LT(std::abs(smooth[1].row(20)[x] - smooth[1].row(20)[x - 1]), 0.3f) << x;
  }
  EXPECT_NEAR(off, 0.0, 0.3);
}

TEST(FloatPlates, AreFollowedInTheLightOfTheFrame) {
  ShotFrame frame{.light = 1.013, .noise = 0.0};
  const PlateRow row({{0, floatFit({.body = 0.3})}, {50, floatFit({.body = 0.6})}});
  FollowedPlate followed = row.at(7, frameOf(drawnFloats(frame)));
  EXPECT_LT(worstStep(*followed.plate, drawnLevels(frame, true)), 0.15);
  EXPECT_LT(worstError(*followed.plate, drawnLevels(frame, true)), 0.4);
  const PlateRow drift({{0, floatFit({})}, {100, floatFit({.otherwise = 0.15})}});
  frame = {.otherwise = 0.075, .noise = 0.0};
  followed = drift.at(50, frameOf(drawnFloats(frame)));
  EXPECT_LT(worstStep(*followed.plate, drawnLevels(frame, true)), 0.15);
  // A camera that clips the screen: more light makes it no brighter.
  Levels clipped = drawnLevels({.light = 1.6, .noise = 0.0});
  for (double& v : clipped) v = std::min(v, 255.0);
  followed = row.at(0, frameOf(floatsOf(clipped)));
  ASSERT_NE(followed.plate, nullptr);
  for (std::size_t i = 1; i < followed.plate->rgba.size(); i += 4) ASSERT_LE(followed.plate->rgba[i], 1.0f);
}

FittedPlate gradientFit(double light) {
  FittedPlate fitted;
  fitted.plate = {{}, 320, 180, 1.0f, false, floatsOf(gradient(light, true))};
  fitted.sure = true;
  for (int i = 0; i < 320 * 180; ++i) fitted.bare.push_back(std::abs(i % 320 - 160) < 34 ? 0 : 255);
  return fitted;
}

TEST(FloatPlates, GatheredAndCleanPlatesHaveNoSteps) {
  ShotPlate shot;
  CleanPlateMean mean;
  for (int i = 0; i < 8; ++i) {
    const double light = 1.0 + 0.01 * i;
    shot.add(frameOf(floatsOf(gradient(light))), gradientFit(light));
    Floats clean = floatsOf(gradient(0.8, true));
    if (i == 3) clean[4 * 320 * 20 + 1] = kNaN;
    mean.add(frameOf(clean));
  }
  const GatheredPlate gathered = shot.gather();
  EXPECT_TRUE(gathered.locked) << gathered.why;
  EXPECT_LT(worstStep(gathered.plate, gradient(1.035, true)), 0.05);
  EXPECT_LT(worstError(gathered.plate, gradient(1.035, true)), 1.0);
  const Floats seen = floatsOf(gradient(1.0));
  const FittedPlate fitted = gradientFit(1.0);
  const std::vector<unsigned char> bytes = mean.mean();
  const CleanPlate clean =
      correctedPlate(packedFrame(bytes.data(), mean.width(), mean.height(), mean.format()), {{frameOf(seen), &fitted}});
  EXPECT_EQ(clean.refusal, "");
  EXPECT_LT(worstError(clean.plate, gradient(1.0, true)), 0.1);
  // One of bytes is as smooth after its blur.
  std::vector<unsigned char> argb;
  for (const double level : gradient(1.0, true)) {
    if (argb.size() % 4 == 0) argb.push_back(255);
    argb.push_back(static_cast<unsigned char>(level + 0.5));
  }
  const CleanPlate ofBytes = correctedPlate(pictureOf({}, argb), {{frameOf(seen), &fitted}});
  EXPECT_LT(worstStep(ofBytes.plate, gradient(1.0, true)), 0.5);
}

}  // namespace
}  // namespace kalvetra
