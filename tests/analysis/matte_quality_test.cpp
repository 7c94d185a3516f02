// The figures of drawn mattes whose haze, holes and flicker are known.
#include "analysis/matte_quality.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "sample/test_images.h"

namespace {

using kalvetra::MattePlane;
using kalvetra::MatteQuality;
using kalvetra::MatteReport;
using kalvetra::test::Random;

constexpr int kWidth = 200, kHeight = 120;

MattePlane draw(const std::function<double(int, int)>& level) {
  MattePlane matte;
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      matte.push_back(static_cast<unsigned char>(std::lround(std::clamp(level(x, y), 0.0, 255.0))));
    }
  }
  return matte;
}

// A disc whose edge is a ramp of 4 pixels, with other levels than 0 and 255 where they are asked for.
MattePlane disc(double centre, double radius = 35.0, double clear = 0.0, double solid = 255.0) {
  return draw([=](int x, int y) {
    const double inside = std::clamp((radius - std::hypot(x - centre, y - kHeight / 2.0)) / 4.0 + 0.5, 0.0, 1.0);
    return clear + (solid - clear) * inside;
  });
}

MatteReport reportOf(const std::vector<MattePlane>& mattes) {
  MatteQuality quality(kWidth, kHeight);
  for (const MattePlane& matte : mattes) quality.add(matte);
  return quality.report();
}

MatteReport reportOf(int frames, const std::function<MattePlane(int)>& drawFrame) {
  std::vector<MattePlane> mattes;
  for (int i = 0; i < frames; ++i) mattes.push_back(drawFrame(i));
  return reportOf(mattes);
}

TEST(MatteQuality, AStillClipHasNoFlickerAndACleanMatteNeitherHazeNorHoles) {
  const MatteReport report = reportOf(8, [](int) { return disc(100); });
  EXPECT_EQ(8, report.frames);
  EXPECT_EQ(0.0, report.flicker.mean);
  EXPECT_EQ(0.0, report.haze.mean);
  EXPECT_EQ(0.0, report.hazyPixels.mean);
  EXPECT_EQ(0.0, report.holes.mean);
  EXPECT_NEAR(100.0, report.clearArea + report.edgeBand + report.solidArea, 1e-9);
  EXPECT_NEAR(100.0 * 31 * 31 * 3.1416 / (kWidth * kHeight), report.solidArea, 1.5);  // the margin is 4 pixels
}

TEST(MatteQuality, HazeAndHolesComeBackAsTheyWerePutIn) {
  // Up to just under one half: haze must not turn into subject, nor holes into screen.
  for (const double percent : {1.0, 10.0, 25.0, 45.0}) {
    const double levels = std::round(percent * 2.55);
    const MatteReport hazy = reportOf({disc(100, 35, levels, 255)});
    EXPECT_NEAR(levels / 2.55, *hazy.haze.mean, 0.01);
    EXPECT_EQ(levels > 5 ? 100.0 : 0.0, hazy.hazyPixels.mean);
    EXPECT_EQ(0.0, hazy.holes.mean);
    const MatteReport thin = reportOf({disc(100, 35, 0, 255 - levels)});
    EXPECT_NEAR(levels / 2.55, *thin.holes.mean, 0.01);
    EXPECT_EQ(0.0, thin.haze.mean);
  }
}

TEST(MatteQuality, EveryPictureHasItsSharesOfPixelsAndItsFlicker) {
  const auto columns = [](int clear, int partial, int boil) {  // the rest is solid
    return draw([=](int x, int) { return x < clear ? 5 : x < clear + partial ? 128 + boil : 250; });
  };
  MatteQuality quality(kWidth, kHeight);
  for (int i = 0; i < 6; ++i) quality.add(columns(100, 20, i < 3 ? 0 : i % 2 == 0 ? 40 : -40));
  quality.add(columns(50, 50, 40));
  const auto& pictures = quality.pictures();
  ASSERT_EQ(7u, pictures.size());
  EXPECT_DOUBLE_EQ(0.5, pictures[0].clear);
  EXPECT_DOUBLE_EQ(0.1, pictures[0].partial);
  EXPECT_DOUBLE_EQ(0.4, pictures[0].solid);
  EXPECT_DOUBLE_EQ(0.25, pictures[6].clear);
  EXPECT_DOUBLE_EQ(0.25, pictures[6].partial);
  for (const std::size_t without : {0U, 5U, 6U}) EXPECT_FALSE(pictures[without].flicker) << without;
  EXPECT_EQ(0.0, pictures[1].flicker);            // 128 128 128 88
  EXPECT_EQ(0.0, pictures[2].flicker);            // 128 128 88 168: turns once
  EXPECT_NEAR(40.0, *pictures[3].flicker, 1e-9);  // 128 88 168 88
  const MatteReport report = quality.report();
  EXPECT_NEAR(100.0 * (6 * 0.5 + 0.25) / 7, report.clearPixels, 1e-9);
  EXPECT_NEAR(100.0 * (6 * 0.1 + 0.25) / 7, report.partialPixels, 1e-9);
  EXPECT_NEAR(100.0, report.clearPixels + report.partialPixels + report.solidPixels, 1e-9);
  double worst = 0.0;
  for (const auto& picture : pictures) worst = std::max(worst, picture.flicker.value_or(0.0));
  EXPECT_EQ(worst, report.flicker.worst);
  EXPECT_EQ(worst, pictures[static_cast<std::size_t>(report.flicker.worstFrame - 1)].flicker);
}

TEST(MatteQuality, SpecksCountWhereTheyAreAndMoveNoRegion) {
  const auto speck = [](int x, int y) { return x % 10 == 0 && y % 10 == 0; };
  const MattePlane clean = disc(100);
  const MattePlane specked = draw([&](int x, int y) {
    const double level = clean[static_cast<std::size_t>(y * kWidth + x)];
    return speck(x, y) ? 255.0 - level : level;
  });
  const MatteReport report = reportOf({specked}), before = reportOf({clean});
  EXPECT_EQ(before.clearArea, report.clearArea);
  EXPECT_EQ(before.solidArea, report.solidArea);
  EXPECT_NEAR(1.0, *report.haze.mean, 0.1);  // one pixel of a hundred
  EXPECT_NEAR(1.0, *report.hazyPixels.mean, 0.1);
  EXPECT_NEAR(1.0, *report.holes.mean, 0.2);
}

TEST(MatteQuality, TheWorstPictureIsNamedAndTheMeanIsOverAll) {
  const MatteReport report = reportOf(4, [](int i) { return disc(100, 35, i == 2 ? 51 : 0, i == 1 ? 204 : 255); });
  EXPECT_EQ(3, report.haze.worstFrame);
  EXPECT_NEAR(20.0, report.haze.worst, 1e-9);
  EXPECT_NEAR(5.0, *report.haze.mean, 0.05);  // haze widens the disc a little
  EXPECT_EQ(2, report.holes.worstFrame);
  EXPECT_NEAR(20.0, report.holes.worst, 1e-9);
}

TEST(MatteQuality, ABoilingEdgeFlickersAndAMovingOneDoesNot) {
  const MatteReport moving = reportOf(20, [](int i) { return disc(60 + 1.7 * i); });
  const MatteReport turning = reportOf(20, [](int i) { return disc(100 + 20 * std::sin(i * 0.4)); });
  Random random(7);
  const MatteReport boiling =
      reportOf(20, [&](int i) { return disc(60 + 1.7 * i, 35 + random.within(-100, 100) / 50.0); });
  ASSERT_TRUE(moving.flicker.mean && turning.flicker.mean && boiling.flicker.mean);
  EXPECT_LT(*moving.flicker.mean, 0.01);
  EXPECT_LT(*turning.flicker.mean, 0.1);
  EXPECT_GT(*boiling.flicker.mean, 5.0);
}

TEST(MatteQuality, FlickerIsInLevelsOfTheEdgesPixels) {
  // The ramp's one column swings between 100 and 130: 30 levels. Its neighbours are always quite clear and solid.
  const MatteReport report = reportOf(6, [](int i) {
    return draw([i](int x, int) { return x < 100 ? 0.0 : x > 100 ? 255.0 : i % 2 == 0 ? 100.0 : 130.0; });
  });
  EXPECT_NEAR(30.0, *report.flicker.mean, 1e-9);
  // It swings from the fifth picture on; that is the first with one before it and two after it that all turn back.
  const MatteReport late = reportOf(8, [](int i) {
    return draw([i](int x, int) { return x < 100 ? 0.0 : x > 100 ? 255.0 : i > 2 && i % 2 == 0 ? 130.0 : 100.0; });
  });
  EXPECT_EQ(5, late.flicker.worstFrame);
}

TEST(MatteQuality, WhatCannotBeMeasuredIsLeftOpen) {
  const MatteReport none = reportOf(std::vector<MattePlane>{});
  EXPECT_EQ(0, none.frames);
  EXPECT_FALSE(none.haze.mean || none.holes.mean || none.flicker.mean);
  const MatteReport clear = reportOf(5, [](int) { return draw([](int, int) { return 0; }); });
  EXPECT_EQ(0.0, clear.haze.mean);
  EXPECT_EQ(100.0, clear.clearArea);
  EXPECT_FALSE(clear.holes.mean || clear.flicker.mean);
  const MatteReport solid = reportOf(5, [](int) { return draw([](int, int) { return 255; }); });
  EXPECT_EQ(0.0, solid.holes.mean);
  EXPECT_EQ(100.0, solid.solidArea);
  EXPECT_FALSE(solid.haze.mean || solid.flicker.mean);
  EXPECT_FALSE(reportOf({disc(100), disc(100), disc(100)}).flicker.mean);
}

TEST(MatteQuality, TakesTinyPicturesAndRefusesOtherSizes) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 50}, {3, 2}, {50, 1}}) {
    MatteQuality quality(width, height);
    for (int i = 0; i < 5; ++i) quality.add(MattePlane(static_cast<std::size_t>(width * height), 51));
    EXPECT_NEAR(20.0, *quality.report().haze.mean, 1e-9) << width << " x " << height;
    EXPECT_THROW(quality.add(MattePlane(7)), std::invalid_argument);
  }
  EXPECT_THROW(MatteQuality(0, 5), std::invalid_argument);
}

}  // namespace
