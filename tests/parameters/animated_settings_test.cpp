// Settings over time: values between keyframes, worked out by hand.
#include "parameters/animated_settings.h"

#include <gtest/gtest.h>

#include "parameters/clip_levels.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace {

using kalvetra::AnimatedSettings;
using kalvetra::Curve;
using kalvetra::findParameter;
using kalvetra::kLastKeyframe;
using kalvetra::valueAt;

TEST(Keyframes, SlidersMoveInAStraightLineAndHoldAtBothEnds) {
  const kalvetra::Parameter& hue = *findParameter("skin-hue");
  const Curve curve{{10, -50}, {14, 3}, {15, 20}};
  const std::pair<std::int64_t, int> expected[] = {
      {-5, -50}, {0, -50}, {10, -50}, {11, -37},  // -50 + 53 / 4 = -36.75
      {12, -23},                                  // -23.5, halves up
      {13, -10},                                  // -10.25
      {14, 3},   {15, 20}, {16, 20},  {kLastKeyframe * 4, 20},
  };
  for (const auto& [frame, value] : expected) EXPECT_EQ(value, valueAt(hue, curve, frame)) << frame;
  // Downwards, and over the longest time.
  EXPECT_EQ(2, valueAt(hue, {{0, 3}, {2, 0}}, 1));  // 1.5
  EXPECT_EQ(50, valueAt(hue, {{0, 50}, {kLastKeyframe, -50}}, 1));
  EXPECT_EQ(0, valueAt(hue, {{0, 50}, {kLastKeyframe, -50}}, kLastKeyframe / 2));
  EXPECT_EQ(-50, valueAt(hue, {{0, 50}, {kLastKeyframe, -50}}, kLastKeyframe - 1));
}

TEST(Keyframes, ColoursMoveInEachComponentTogglesAndTheViewSwitch) {
  const kalvetra::Parameter& color = *findParameter("key-color");
  EXPECT_EQ(0x804b01, valueAt(color, {{0, 0x009600}, {2, 0xff0001}}, 1));  // 127.5, 75, 0.5
  EXPECT_EQ(0xff0001, valueAt(color, {{0, 0x009600}, {2, 0xff0001}}, 2));
  for (const char* slug : {"edge-blur", "view"}) {
    const kalvetra::Parameter& p = *findParameter(slug);
    const Curve curve{{0, 0}, {8, 1}};
    EXPECT_EQ(0, valueAt(p, curve, 7)) << slug;
    EXPECT_EQ(1, valueAt(p, curve, 8)) << slug;
  }
}

TEST(ClipLevels, MayMeetButNotCross) {
  const auto refusal = [](const Curve& black, const Curve& white) -> std::string {
    AnimatedSettings settings;
    settings.set(*findParameter("clip-black"), black);
    settings.set(*findParameter("clip-white"), white);
    try {
      refuseCrossedClipLevels(settings);
    } catch (const kalvetra::UserError& error) {
      return error.what();
    }
    return "";
  };
  EXPECT_EQ("", refusal({{0, 0}}, {{0, 100}}));
  EXPECT_EQ("", refusal({{0, 50}}, {{0, 50}}));
  EXPECT_EQ("clip-black 50 lies above clip-white 49; lower clip-black or raise clip-white",
            refusal({{0, 50}}, {{0, 49}}));
  // 60 is reached at frame 20, where the other has come down from 90 to 45.
  EXPECT_EQ("clip-black 60 lies above clip-white 45 at frame 20; lower clip-black or raise clip-white",
            refusal({{0, 0}, {20, 60}}, {{10, 90}, {30, 0}}));
  EXPECT_EQ("", refusal({{0, 0}, {20, 45}, {30, 0}}, {{10, 90}, {30, 0}}));
}

TEST(AnimatedSettings, EachFrameHasItsOwnAndConstantsStay) {
  AnimatedSettings settings;
  EXPECT_FALSE(settings.isAnimated());
  EXPECT_EQ(33, settings.at(1000).screenGain);
  settings.set(*findParameter("screen-gain"), {{0, 33}, {120, 45}});
  settings.set(*findParameter("key-color"), {{0, 0x009600}, {2, 0x00ff00}});
  settings.set(*findParameter("shadow"), 80);
  EXPECT_TRUE(settings.isAnimated());
  EXPECT_EQ(39, settings.at(60).screenGain);
  EXPECT_EQ(80, settings.at(60).shadow);
  EXPECT_EQ(20, settings.at(60).despillWhite);
  EXPECT_EQ((std::array<double, 3>{0.0, 203 / 255.0, 0.0}), settings.at(1).keyColor);
  EXPECT_EQ((Curve{{0, 33}, {120, 45}}), settings.curve(*findParameter("screen-gain")));
  EXPECT_EQ((Curve{{0, 80}}), settings.curve(*findParameter("shadow")));
  EXPECT_EQ((Curve{{0, 0}}), settings.curve(*findParameter("edge-blur")));
  // Constants take the place of keyframes, one keyframe is a constant wherever it stands.
  settings.set(*findParameter("screen-gain"), 7);
  settings.set(*findParameter("key-color"), {{90, 0x112233}});
  EXPECT_FALSE(settings.isAnimated());
  EXPECT_EQ(7, settings.at(60).screenGain);
  EXPECT_EQ(0x112233, kalvetra::valueIn(settings.at(0), *findParameter("key-color")));
}

TEST(ParameterValue, TextsOfEveryKind) {
  const struct {
    const char* slug;
    const char* text;
    int value;  // -1 for none
  } cases[] = {
      {"shadow", "0", 0},
      {"shadow", "100", 100},
      {"shadow", "101", -1},
      {"shadow", "-1", -1},
      {"shadow", "5x", -1},
      {"shadow", "", -1},
      {"shadow", "99999999999", -1},
      {"edge-blur", "on", 1},
      {"edge-blur", "off", 0},
      {"edge-blur", "1", -1},
      {"view", "matte", 1},
      {"view", "Matte", -1},
      {"key-color", "#2dA54b", 0x2da54b},
      {"key-color", "#2da54", -1},
      {"key-color", "#-1a54b", -1},
      {"key-color", "#2da54g", -1},
      {"key-color", "#+2da54", -1},
      {"key-color", "0,255,9", 0x00ff09},
      {"key-color", "0,256,9", -1},
      {"key-color", "0,255", -1},
      {"key-color", "0,255,9,1", -1},
      {"key-color", "0,255,9,", -1},
      {"key-color", "0,-2,9", -1},
      {"key-color", "auto", -1},
      {"key-color", "", -1},
      {"key-color", ",,", -1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(c.value, kalvetra::parseValue(*findParameter(std::string_view(c.slug)), c.text).value_or(-1))
        << c.slug << " " << c.text;
  }
  // Settings from elsewhere may hold any number.
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {std::numeric_limits<double>::quiet_NaN(), 1e300, -7};
  EXPECT_EQ(0x00ff00, kalvetra::valueIn(settings, *findParameter("key-color")));
}

}  // namespace
