// The backdrop gathered over a drawn shot, and clean plates beside it.
#include "plates/shot_plate.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>

#include "plates/clean_plate.h"
#include "plates/shot_plate_middle.h"
#include "tests/plates/drawn_shot.h"

namespace kalvetra {
namespace {

using Motion = std::function<ShotFrame(double time)>;  // 0..1

// A green screen's picture as that of a blue one.
void turnBlue(std::vector<unsigned char>& argb) {
  for (std::size_t i = 0; i < argb.size(); i += 4) std::swap(argb[i + 2], argb[i + 3]);
}

GatheredPlate gathered(const Motion& motion, int frames = 16, const Workers* workers = nullptr, bool isBlue = false) {
  ShotPlate shot;
  for (int i = 0; i < frames; ++i) {
    ShotFrame frame = motion(i / std::max(frames - 1.0, 1.0));
    frame.seed = static_cast<unsigned int>(i) + 7;
    std::vector<unsigned char> argb = drawnShot(frame);
    FittedPlate fitted = perfectFit(frame);
    if (isBlue) {
      turnBlue(argb);
      turnBlue(fitted.plate.argb);
    }
    shot.add(pictureOf(frame, argb), fitted);
  }
  return shot.gather(workers);
}

TEST(ShotPlate, SeesTheScreenAsTheSubjectWalksInChangingLight) {
  const Motion walk = [](double t) { return ShotFrame{.light = 1.0 + 0.2 * (t - 0.5), .body = t, .shadow = 1.3 - t}; };
  const GatheredPlate plate = gathered(walk);
  EXPECT_TRUE(plate.locked) << plate.why;
  EXPECT_GT(plate.seen, 0.98);
  EXPECT_TRUE(plate.plate.keepsShadows);
  EXPECT_NEAR(plate.plate.noise, 1.5f, 0.2f);
  EXPECT_LT(meanError(plate.plate, {}), 0.7);
  const Workers three{3, [](int parts, const auto& work) {
                        for (int part = parts; part-- > 0;) work(part);
                      }};
  EXPECT_EQ(gathered(walk, 16, &three).plate.argb, plate.plate.argb);
}

// Nothing but the closeness to the fitted plate parts a soft shadow from the screen.
TEST(ShotPlate, AShadowThatComesAndGoesIsNotInIt) {
  ShotPlate shot;
  for (int i = 0; i < 12; ++i) {
    ShotFrame frame{.seed = static_cast<unsigned int>(i)};
    std::vector<unsigned char> argb = drawnShot(frame);
    for (std::size_t k = 0; i % 3 != 0 && k < argb.size(); ++k) {
      if (k % 4 != 0 && k / 4 % 320 < 40) argb[k] = static_cast<unsigned char>(0.85 * argb[k]);
    }
    shot.add(pictureOf(frame, argb), perfectFit(frame), false);
  }
  EXPECT_LT(meanError(shot.gather().plate, {}), 0.7);
}

TEST(ShotPlate, WhatIsNeverSeenJoinsWithoutASeam) {
  ShotPlate shot;
  for (unsigned int i = 0; i < 8; ++i) {
    const ShotFrame frame{.seed = i};
    FittedPlate fitted = perfectFit(frame);
    for (std::size_t k = 0; k < fitted.plate.argb.size(); ++k) {  // an estimate that is too dark
      if (k % 4 != 0) fitted.plate.argb[k] = static_cast<unsigned char>(0.97 * fitted.plate.argb[k]);
    }
    shot.add(pictureOf(frame, drawnShot(frame)), fitted);
  }
  const GatheredPlate plate = shot.gather();
  EXPECT_NEAR(plate.seen, 0.85, 0.05);
  EXPECT_LT(meanError(plate.plate, {}), 0.7);
}

TEST(ShotPlate, SaysWhenTheCameraMoves) {
  const GatheredPlate near = gathered([](double t) { return ShotFrame{.pan = 6.0 * t}; });
  EXPECT_NE(near.why.find("shifts by up to"), std::string::npos) << near.why;
  const GatheredPlate far = gathered([](double t) { return ShotFrame{.pan = 150.0 * t}; });
  EXPECT_FALSE(far.locked);
  EXPECT_FALSE(far.plate.keepsShadows);
  const GatheredPlate cut = gathered([](double t) { return ShotFrame{.otherwise = t > 0.6 ? 2.0 : 0.0}; });
  EXPECT_NE(cut.why.find("several shots"), std::string::npos) << cut.why;
  EXPECT_FALSE(gathered([](double t) { return ShotFrame{.otherwise = t}; }).locked);
}

TEST(ShotPlate, KeepsFewOfManyFramesAndNoneOfNone) {
  EXPECT_TRUE(ShotPlate().gather().plate.argb.empty());
  ShotPlate shot;
  const ShotFrame tiny{.width = 3.0, .height = 2.0};
  for (int i = 0; i < 100; ++i) shot.add(pictureOf(tiny, drawnShot(tiny)), perfectFit(tiny));
  EXPECT_EQ(shot.frames(), 60u);
  EXPECT_EQ(ShotPlate::capacity(1920, 1080), ShotPlate::capacity(3840, 2160));
  EXPECT_EQ(shot.gather().plate.width, 3);
  EXPECT_TRUE(gathered([](double) { return ShotFrame(); }, 3).locked);
  EXPECT_NE(gathered([](double) { return ShotFrame(); }, 2).why.find("only 2 of the frames"), std::string::npos);
  const ShotFrame other{.width = 4.0, .height = 2.0};
  EXPECT_THROW(shot.add(pictureOf(other, drawnShot(other)), perfectFit(other)), std::invalid_argument);
}

TEST(ShotPlate, JudgesBlueAsGreen) {
  for (const double swing : {0.05, 0.1}) {
    const Motion motion = [&](double t) {
      return ShotFrame{
          .pan = swing, .body = t, .shadow = 1.3 - t, .otherwise = swing * (0.5 + 0.5 * std::sin(40.0 * t))};
    };
    const GatheredPlate green = gathered(motion);
    GatheredPlate blue = gathered(motion, 16, nullptr, true);
    turnBlue(blue.plate.argb);
    EXPECT_EQ(blue.why, green.why);
    EXPECT_EQ(blue.plate.argb, green.plate.argb);
  }
}

TEST(ShotPlate, LeavesOutNoColumnsWhereItIsReduced) {
  ShotPlate shot;
  const ShotFrame wide{.width = 4099.0, .height = 8.0};
  std::vector<unsigned char> argb(4099 * 8 * 4, 255);
  for (std::size_t i = 0; i < argb.size(); i += 4) {
    argb[i + 1] = argb[i + 3] = 40;
    argb[i + 2] = i / 4 % 4099 < 4098 ? 200 : 160;
  }
  FittedPlate fitted;
  fitted.plate = {argb, 4099, 8, 1.0f, false};
  fitted.sure = true;
  for (int i = 0; i < 3; ++i) shot.add(pictureOf(wide, argb), fitted);
  const Plate plate = shot.gather().plate;
  EXPECT_EQ(plate.width, 1366);
  EXPECT_EQ(plate.argb[1365 * 4 + 2], 190);  // three of 200, one of 160
}

// Two that are nearly alike lie too far apart around their middle: those below, which agree, are the screen.
TEST(ShotPlate, GoesOnLookingWhereTheBrightestDoNotAgree) {
  const plates::Cells cells;
  const plates::Texture texture;
  std::vector<std::array<unsigned char, 4>> pixels;
  for (const int level : {110, 106, 100, 100, 100}) {
    const auto v = static_cast<unsigned char>(level);
    pixels.push_back({255, v, v, v});
  }
  std::vector<plates::ShotView> views;
  for (const auto& pixel : pixels) views.push_back({pixel.data(), &cells, &texture});
  const plates::Middle middle = middleOf(views, std::vector<plates::Tint>(views.size()), 1, 1, 1.0f, nullptr);
  EXPECT_EQ(middle.seen[0], 1);
  EXPECT_FLOAT_EQ(middle.colors[1], 100.0f);
}

// The clean plate is that of `taken`; the shot has two frames.
CleanPlate corrected(const ShotFrame& taken, double red = 1.0, bool isBlue = false) {
  const ShotFrame one{.body = 0.3, .seed = 4}, other{.body = 0.6, .seed = 5};
  std::vector<unsigned char> clean = drawnShot(taken), first = drawnShot(one), second = drawnShot(other);
  FittedPlate firstFit = perfectFit(one), secondFit = perfectFit(other);
  for (std::size_t i = 1; i < clean.size(); i += 4) clean[i] = static_cast<unsigned char>(clean[i] * red);
  if (isBlue) {
    for (auto* argb : {&clean, &first, &second, &firstFit.plate.argb, &secondFit.plate.argb}) turnBlue(*argb);
  }
  return correctedPlate(pictureOf(taken, clean),
                        {{pictureOf(one, first), &firstFit}, {pictureOf(other, second), &secondFit}});
}

bool says(const CleanPlate& plate, const std::string& word) {
  const std::string all = plate.notes.empty() ? plate.refusal : plate.notes[0];
  return all.find(word) != std::string::npos;
}

TEST(CleanPlate, TakesOnTheLightOfTheShot) {
  const CleanPlate good = corrected({.body = 9.0});
  EXPECT_TRUE(good.refusal.empty() && good.notes.empty());
  EXPECT_TRUE(good.plate.keepsShadows);
  EXPECT_LT(meanError(good.plate, {}), 0.7);
  const CleanPlate dark = corrected({.light = 0.8, .body = 9.0});
  EXPECT_TRUE(says(dark, "20 % darker")) << dark.notes[0];
  EXPECT_LT(meanError(dark.plate, {}), 0.8);
  const CleanPlate fromSide = corrected({.body = 9.0, .otherwise = 0.3});
  EXPECT_TRUE(says(fromSide, "bent to the shot's"));
  EXPECT_LT(meanError(fromSide.plate, {}), 2.5);
}

// The fit to the one frame takes the shadow for screen in less light.
TEST(CleanPlate, AShadowInTheOnlyFrameIsNoOtherLight) {
  const ShotFrame frame{.body = 0.3, .shadow = 0.7}, without{.body = 0.3};
  const std::vector<unsigned char> clean = drawnShot({.body = 9.0}), argb = drawnShot(frame);
  const FittedPlate fitted = perfectFit(without);
  const CleanPlate plate = correctedPlate(pictureOf(frame, clean), {{pictureOf(frame, argb), &fitted}});
  EXPECT_EQ(plate.refusal, "");
  EXPECT_TRUE(plate.notes.empty());
  EXPECT_LT(meanError(plate.plate, frame), 0.7);
}

TEST(CleanPlate, KeepsNoShadowsWhereItsLightIsNotKnown) {
  const ShotFrame frame;
  const std::vector<unsigned char> argb = drawnShot(frame);
  FittedPlate fitted = perfectFit(frame);
  fitted.sure = false;
  const CleanPlate asItIs = correctedPlate(pictureOf(frame, argb), {{pictureOf(frame, argb), &fitted}});
  EXPECT_TRUE(says(asItIs, "used as it is"));
  EXPECT_FALSE(asItIs.plate.keepsShadows);
  EXPECT_EQ(asItIs.plate.noise, 1.5f);
}

TEST(CleanPlate, SaysWhatIsWrong) {
  EXPECT_TRUE(says(corrected({.body = 0.8}), "something else than the screen"));
  EXPECT_LT(meanError(corrected({.body = 0.8}).plate, {}), 0.7);
  const CleanPlate beside = corrected({.pan = 3.0, .body = 9.0});
  EXPECT_TRUE(says(beside, "pixels beside"));
  EXPECT_NEAR(beside.shift, 3.0f, 0.3f);
  for (const auto& [taken, word] : std::vector<std::pair<ShotFrame, std::string>>{
           {{.pan = 12.0, .body = 9.0}, "12 pixels beside"},
           {{.body = 9.0, .otherwise = 1.5}, "another light"},
           {{.light = 0.3, .body = 9.0}, "0.3 times as bright"},
           {{.body = 9.0, .width = 240.0}, "240 x 180"},
       }) {
    const CleanPlate bad = corrected(taken);
    EXPECT_NE(bad.refusal.find(word), std::string::npos) << word << ": " << bad.refusal;
    EXPECT_TRUE(bad.plate.argb.empty());
  }
  const std::string warm = corrected({.light = 1.25, .body = 9.0}, 2.1).refusal;
  EXPECT_NE(warm.find("2.6 times as much red"), std::string::npos) << warm;
  const std::string orange = corrected({.body = 9.0}, 3.0).refusal;
  EXPECT_NE(orange.find("screen's colour on only 0 %"), std::string::npos) << orange;
  EXPECT_LT(meanError(corrected({.body = 9.0, .width = 640.0, .height = 360.0}).plate, {}), 1.0);
}

TEST(CleanPlate, OfABlueScreenIsJudgedAsOfAGreenOne) {
  for (const ShotFrame& taken : {ShotFrame{.light = 0.8, .pan = 3.0, .body = 0.8}, ShotFrame{.pan = 12.0, .body = 9.0},
                                 ShotFrame{.body = 9.0, .otherwise = 0.3}}) {
    const CleanPlate green = corrected(taken);
    CleanPlate blue = corrected(taken, 1.0, true);
    turnBlue(blue.plate.argb);
    EXPECT_EQ(blue.plate.argb, green.plate.argb);
    EXPECT_EQ(blue.notes, green.notes);
    EXPECT_EQ(blue.refusal, green.refusal);
    EXPECT_EQ(blue.gain, (std::array{green.gain[0], green.gain[2], green.gain[1]}));
  }
}

TEST(CleanPlate, MeanLeavesOutAVisitor) {
  CleanPlateMean mean;
  for (const int gray : {100, 102, 250, 98, 101}) {
    const auto level = static_cast<unsigned char>(gray);
    const std::vector<unsigned char> pixel{255, level, level, level};
    mean.add(packedFrame(pixel.data(), 1, 1));
  }
  EXPECT_EQ(mean.mean(), (std::vector<unsigned char>{255, 101, 101, 101}));
}

}  // namespace
}  // namespace kalvetra
