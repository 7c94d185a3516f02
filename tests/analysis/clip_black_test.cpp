// The clip black that a shot needs, on pictures whose haze is known.
#include "analysis/clip_black.h"

#include <gtest/gtest.h>

#include <vector>

#include "parameters/parameter_table.h"
#include "sample/test_images.h"

namespace {

using namespace kalvetra;

constexpr int kSide = 100;

// A screen of one colour under noise, in its left fifth behind a thin grey veil; the rest is surely bare.
struct Shot {
  test::Bytes frame;
  FittedPlate fitted;

  Shot(int noise, double veil) {
    const int screen[] = {45, 165, 75};
    fitted.sure = true;
    fitted.plate = {{255, 45, 165, 75}, 1, 1};
    fitted.plate.argb.resize(4 * kSide * kSide);
    test::Random random(7);
    for (std::size_t i = 0; i < kSide * kSide; ++i) {
      const bool isVeiled = i % kSide < kSide / 5;
      frame.push_back(255);
      for (const int c : screen) {
        const double value = isVeiled ? c + veil * (150 - c) : c;
        frame.push_back(static_cast<unsigned char>(value + random.within(-noise, noise)));
      }
      for (std::size_t c = 0; c < 4; ++c)
        fitted.plate.argb[4 * i + c] = static_cast<unsigned char>(c == 0 ? 255 : screen[c - 1]);
      fitted.bare.push_back(isVeiled ? 0 : 255);
    }
    fitted.plate.width = fitted.plate.height = kSide;
  }

  KnownPlate plate() const { return fitted.plate.known(); }
  ConstFrame picture() const { return packedFrame(frame.data(), kSide, kSide); }
  static KeySettings settings() {
    KeySettings settings = defaultSettings();
    settings.keyColor = {45 / 255.0, 165 / 255.0, 75 / 255.0};
    return settings;
  }

  MeasuredClip measure(bool keepsShadows = false) const {
    KnownPlate known = plate();
    known.keepsShadows = keepsShadows;
    const ScreenSample sample{picture(), &fitted, &known};
    return measureClipBlack({&sample, 1}, settings());
  }

  // Mean opacity of the veiled part, 0..255, and the share of the bare one that shows.
  struct Result {
    double veil = 0, left = 0;
  };
  Result keyed(int clipBlack) const {
    KeySettings clipped = settings();
    clipped.clipBlack = clipBlack;
    test::Bytes key(frame.size());
    const KnownPlate known = plate();
    render(clipped, picture(), packedFrame(key.data(), kSide, kSide), {.plate = &known});
    Result result;
    for (std::size_t i = 0; i < fitted.bare.size(); ++i) {
      if (fitted.bare[i] == 0) result.veil += key[4 * i] / (0.2 * kSide * kSide);
      if (fitted.bare[i] == 255 && key[4 * i] != 0) result.left += 1 / (0.8 * kSide * kSide);
    }
    return result;
  }
};

TEST(ClipBlack, ClearsTheBareScreenAndHardlyMore) {
  int before = Shot(0, 0.5).measure().clipBlack;
  EXPECT_LE(before, 2);  // a level or two of 255 are left by rounding
  for (const int noise : {2, 5, 10}) {
    const Shot shot(noise, 0.5);
    const MeasuredClip measured = shot.measure();
    EXPECT_TRUE(measured.sure);
    EXPECT_GT(measured.clipBlack, before) << noise;
    EXPECT_LE(shot.keyed(measured.clipBlack).left, 0.005) << noise;
    EXPECT_GT(shot.keyed(measured.clipBlack - 2).left, 0.005) << noise;
    before = measured.clipBlack;
  }
}

// Under the same noise a veil that is hardly denser than the haze holds the level back: three quarters of it stay.
TEST(ClipBlack, LeavesMostOfAThinVeil) {
  const Shot dense(10, 0.5), thin(10, 0.2);
  const int clip = thin.measure().clipBlack;
  EXPECT_LT(clip, dense.measure().clipBlack);
  EXPECT_GT(thin.keyed(clip).veil, 0.75 * thin.keyed(0).veil);
}

// An eighth of the bare screen under shadows of all densities up to a seventh would need the highest level.
TEST(ClipBlack, DoesNotClearWhatFallsSlowly) {
  Shot shaded(2, 0.5);
  for (std::size_t i = 0; i < kSide * kSide; ++i) {
    if (i % kSide < kSide * 9 / 10) continue;
    const std::size_t row = i / kSide;
    for (std::size_t c = 1; c < 4; ++c) {
      auto& value = shaded.frame[4 * i + c];
      value = static_cast<unsigned char>(value * (kSide * 7 - row) / (kSide * 7));
    }
  }
  EXPECT_LE(shaded.measure().clipBlack, Shot(2, 0.5).measure().clipBlack + 2);
}

TEST(ClipBlack, KeepsToWhatIsSure) {
  Shot unfitted(10, 0.5), covered(10, 0.5);
  unfitted.fitted.sure = false;
  EXPECT_TRUE(unfitted.measure().sure);
  EXPECT_EQ(4, unfitted.measure().clipBlack);
  EXPECT_EQ(4, Shot(10, 0.5).measure(true).clipBlack);
  covered.fitted.bare.assign(covered.fitted.bare.size(), 254);
  EXPECT_FALSE(covered.measure().sure);
  EXPECT_EQ(0, covered.measure().clipBlack);
}

}  // namespace
