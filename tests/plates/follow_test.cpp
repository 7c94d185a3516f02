// The plates of a shot, followed from frame to frame.
#include "plates/follow.h"

#include <gtest/gtest.h>

#include "tests/plates/drawn_shot.h"

namespace kalvetra {
namespace {

PlateRow rowOf(const std::vector<std::pair<std::int64_t, ShotFrame>>& shots) {
  std::vector<PlateRow::Estimate> estimates;
  for (const auto& [number, frame] : shots) estimates.push_back({number, perfectFit(frame)});
  return PlateRow(std::move(estimates));
}

FollowedPlate at(const PlateRow& row, std::int64_t number, const ShotFrame& frame) {
  return row.at(number, pictureOf(frame, drawnShot(frame)));
}

double errorAt(const PlateRow& row, std::int64_t number, const ShotFrame& frame) {
  const FollowedPlate followed = at(row, number, frame);
  return followed.fit > 0.0f ? meanError(*followed.plate, frame) : 255.0;
}

TEST(Follow, SteadyLightGivesTheSharedPlate) {
  const PlateRow row = rowOf({{0, {.body = 0.3}}, {50, {.light = 1.02, .body = 0.6}}, {100, {.shadow = 0.8}}});
  EXPECT_TRUE(row.wanted().empty());
  const FollowedPlate first = at(row, 7, {.light = 1.02, .body = 0.2}),
                      second = at(row, 80, {.light = 1.02, .seed = 9});
  EXPECT_EQ(first.plate, second.plate);
  EXPECT_LT(meanError(*first.plate, {.light = 1.02}), 0.5);
}

TEST(Follow, TakesOnTheLightOfTheFrame) {
  const PlateRow row(std::make_shared<const Plate>(perfectFit({}).plate));
  for (const double light : {0.6, 0.9, 0.99, 1.01, 1.3}) {
    const FollowedPlate followed = at(row, 0, {.light = light, .shadow = 0.2});
    ASSERT_TRUE(followed.fit > 0.0f);
    EXPECT_NEAR(followed.tint.gain[1], light, 0.002) << light;
    EXPECT_LT(meanError(*followed.plate, {.light = light}), 0.6) << light;
  }
  // Continuous: no step between a light that changes the plate and one that does not.
  float before = 1.0f;
  for (double light = 1.0; light < 1.01; light += 0.0005) {
    const float gain = at(row, 0, {.light = light, .noise = 0.0}).tint.gain[1];
    EXPECT_LT(gain - before, 0.003f) << light;
    before = gain;
  }
}

TEST(Follow, ADarkChannelIsRaisedRatherThanMultiplied) {
  Plate plate = perfectFit({}).plate;
  ShotFrame frame;
  std::vector<unsigned char> argb = drawnShot(frame);
  for (std::size_t i = 0; i < argb.size(); i += 4) {
    plate.argb[i + 3] = static_cast<unsigned char>(i / 4 % 320 / 64);  // 0 to 4 levels
    if (!isBody(frame, static_cast<double>(i / 4 % 320), static_cast<double>(i / 1280))) argb[i + 3] = 25;
  }
  const FollowedPlate followed = PlateRow(std::make_shared<const Plate>(plate)).at(0, pictureOf(frame, argb));
  for (std::size_t i = 3; i < argb.size(); i += 400) EXPECT_NEAR(followed.plate->argb[i], 25, 4);
}

TEST(Follow, InterpolatesADriftAndAsksForMore) {
  const PlateRow row = rowOf({{0, {}}, {100, {.otherwise = 0.15}}, {200, {.otherwise = 0.3}}});
  EXPECT_EQ(row.shots(), 1u);
  EXPECT_EQ(row.wanted(), (std::vector<std::int64_t>{50, 150}));
  EXPECT_LT(errorAt(row, 50, {.otherwise = 0.075}), 0.7);
}

TEST(Follow, ACutIsNoDrift) {
  const ShotFrame one{.body = 0.3}, other{.otherwise = 2.0};
  const PlateRow row = rowOf({{0, one}, {40, one}, {80, other}, {120, other}, {160, one}});
  EXPECT_EQ(row.shots(), 3u);
  EXPECT_EQ(row.wanted(), (std::vector<std::int64_t>{60, 140}));
  for (const std::int64_t number : {45, 75}) {  // the cut may lie anywhere between
    EXPECT_LT(errorAt(row, number, one), 0.7);
    EXPECT_LT(errorAt(row, number, other), 0.7);
  }
  EXPECT_FALSE(at(rowOf({{0, one}}), 3, other).fit > 0.0f);
  EXPECT_FALSE(at(rowOf({}), 0, one).fit > 0.0f);
}

// The camera goes on to where no estimate was made: from frame to frame the row's plate counts for less, never at once
// for nothing, and the frame's own fit for the rest.
TEST(Follow, APlateGivesWayStepByStep) {
  const PlateRow row = rowOf({{0, {}}, {100, {.otherwise = 0.15}}});
  float before = 1.0f;
  int mixed = 0;
  for (double otherwise = 0.2; otherwise < 0.4; otherwise += 0.005) {
    const ShotFrame shot{.body = 0.4, .otherwise = otherwise};
    const float fit = at(row, 101, shot).fit;
    EXPECT_LT(std::abs(fit - before), 0.5f) << otherwise;
    mixed += fit > 0.05f && fit < 0.95f ? 1 : 0;
    before = fit;
  }
  EXPECT_EQ(before, 0.0f);
  EXPECT_GE(mixed, 3);
}

FittedPlate flatFit(unsigned char red, unsigned char green, unsigned char blue) {
  FittedPlate fitted = perfectFit({});
  for (std::size_t i = 0; i < fitted.plate.argb.size(); i += 4) {
    const unsigned char pixel[] = {255, red, green, blue};
    std::copy_n(pixel, 4, &fitted.plate.argb[i]);
  }
  return fitted;
}

// The picture, with a shadow over the left `part` of it.
std::vector<unsigned char> shaded(std::vector<unsigned char> argb, double part, double light) {
  for (std::size_t i = 0; i < argb.size(); ++i) {
    if (i % 4 != 0 && static_cast<double>(i / 4 % 320) < 320.0 * part)
      argb[i] = static_cast<unsigned char>(argb[i] * light);
  }
  return argb;
}

// The first shot's paint is so strong that it sees no screen in the second, and nothing against it.
TEST(Follow, AShotThatSeesNoScreenDoesNotWin) {
  const FittedPlate one = flatFit(30, 190, 40), other = flatFit(120, 165, 110);
  const PlateRow row({{0, one}, {40, one}, {80, other}, {120, other}});
  const std::vector<unsigned char> frame = shaded(other.plate.argb, 0.05, 0.7);
  for (const std::int64_t number : {20, 60, 79, 100}) {
    const FollowedPlate followed = row.at(number, packedFrame(frame.data(), 320, 180));
    ASSERT_TRUE(followed.fit > 0.0f) << number;
    EXPECT_NEAR(followed.plate->argb[1], 120, 1) << number;
  }
}

TEST(Follow, AGrowingShadowIsNoOtherShot) {
  const PlateRow given(std::make_shared<const Plate>(perfectFit({}).plate)), fitted = rowOf({{0, {}}});
  const std::vector<unsigned char> frame = drawnShot({.body = 9.0});
  for (const double part : {0.1, 0.28, 0.3, 0.4, 0.48}) {
    const std::vector<unsigned char> argb = shaded(frame, part, kShadow);
    for (const PlateRow* row : {&given, &fitted}) {
      const FollowedPlate followed = row->at(0, pictureOf({}, argb));
      ASSERT_TRUE(followed.fit > 0.0f) << part;
      EXPECT_LT(meanError(*followed.plate, {}), 0.7) << part;
    }
  }
  // One that was judged before is not judged again by a frame of another kind.
  EXPECT_TRUE(at(given, 0, {.otherwise = 2.0}).fit > 0.0f);
}

TEST(Follow, WithoutAnyScreenThePlateStaysAsItIs) {
  const PlateRow row = rowOf({{0, {}}});
  const std::vector<unsigned char> skin(320 * 180 * 4, 180);
  const FollowedPlate followed = row.at(0, pictureOf({}, skin));
  EXPECT_TRUE(followed.fit > 0.0f);
  EXPECT_EQ(followed.tint, plates::Tint());
  EXPECT_TRUE(row.at(0, packedFrame(skin.data(), 0, 0)).fit > 0.0f);
  EXPECT_TRUE(row.at(0, packedFrame(skin.data(), 1, 2)).fit > 0.0f);
}

}  // namespace
}  // namespace kalvetra
