// What is taken out of a proposal, on pictures of which it is known what would do harm.
#include "analysis/proposal_guard.h"

#include <gtest/gtest.h>

#include <functional>

#include "parameters/parameter_table.h"
#include "sample/test_images.h"

namespace {

using namespace kalvetra;

constexpr int kWidth = 160, kHeight = 120;
constexpr Rgb kScreen{45, 165, 75};

Rgb mixed(const Rgb& a, const Rgb& b, float share) {
  return {a[0] + (b[0] - a[0]) * share, a[1] + (b[1] - a[1]) * share, a[2] + (b[2] - a[2]) * share};
}

// Trials of one picture: a subject in its right half over a screen, in the left half whatever `left` draws.
struct Scene {
  std::function<Rgb(int x, int y)> left = [](int, int) { return kScreen; };
  // By the distance in pixels from the outline.
  std::function<Rgb(int depth)> subject = [](int) { return Rgb{170, 40, 40}; };

  Guarded guard(const std::function<void(KeySettings&)>& change) const {
    test::Bytes picture;
    for (int i = 0; i < kWidth * kHeight; ++i) {
      const int x = i % kWidth, y = i / kWidth, depth = std::min(std::min(x - 90, 149 - x), std::min(y - 20, 99 - y));
      const Rgb color = x < kWidth / 2 ? left(x, y) : depth < 0 ? kScreen : subject(depth);
      picture.push_back(255);
      for (const float c : color) picture.push_back(static_cast<unsigned char>(c));
    }
    Trials trials;
    trials.add(picture.data(), kWidth, kHeight, makeReferenceMatte(picture.data(), kWidth, kHeight, kScreen));
    return withoutHarm(trials, changed(change));
  }

  static KeySettings changed(const std::function<void(KeySettings&)>& change) {
    KeySettings settings = defaultSettings();
    settings.keyColor = {45 / 255.0, 165 / 255.0, 75 / 255.0};
    change(settings);
    return settings;
  }
};

void expectAllLeftOut(const Guarded& guarded, const std::string& reason) {
  EXPECT_EQ(Scene::changed([](KeySettings& s) { s.clipBlack = 4; }), guarded.settings);
  ASSERT_EQ(1u, guarded.leftOut.size());
  EXPECT_NE(std::string::npos, guarded.leftOut[0].find(reason)) << guarded.leftOut[0];
}

void expectKept(const Scene& scene, const std::function<void(KeySettings&)>& change) {
  const Guarded guarded = scene.guard(change);
  EXPECT_EQ(Scene::changed(change), guarded.settings);
  EXPECT_TRUE(guarded.leftOut.empty()) << guarded.leftOut[0];
}

TEST(ProposalGuard, VeilsAreNotFilled) {
  const auto fills = [](KeySettings& s) { s.clipWhite = 50; };
  Scene veil, cloth;
  veil.left = [](int x, int) { return x < 40 ? mixed(kScreen, {235, 235, 235}, 0.35f) : kScreen; };
  expectAllLeftOut(veil.guard(fills), "more opaque; the defaults with clip-black 4 remain");
  expectKept(veil, [](KeySettings& s) { s.clipWhite = 95; });
  expectKept(Scene(), fills);
  // Lime, which the defaults take for the screen, is not.
  cloth.left = [](int x, int) { return x < 40 ? Rgb{150, 190, 40} : kScreen; };
  expectKept(cloth, [](KeySettings& s) { s.skinHue = 50; });
}

TEST(ProposalGuard, SolidsAreNotOpened) {
  Scene teal;
  teal.subject = [](int) { return Rgb{20, 120, 145}; };
  expectKept(teal, [](KeySettings& s) { s.blueHue = -25; });
  expectAllLeftOut(teal.guard([](KeySettings& s) { s.blueHue = 50; }), "of what is solid would become transparent");
}

// Brown hair with the screen's light on its outline, against camouflage that is green all over.
TEST(ProposalGuard, ASkinHueKeepsTheSubjectsOwnGreenAndNotTheScreensLight) {
  const auto keeps = [](KeySettings& s) { s.skinHue = 50, s.clipBlack = 3; };
  Scene hair, camouflage;
  hair.subject = [](int depth) { return mixed({110, 80, 45}, {90, 110, 40}, depth < 6 ? 1.0f : 0.0f); };
  camouflage.subject = [](int) { return Rgb{96, 112, 60}; };
  const Guarded guarded = hair.guard(keeps);
  EXPECT_EQ(Scene::changed([](KeySettings& s) { s.clipBlack = 3; }), guarded.settings);
  ASSERT_EQ(1u, guarded.leftOut.size());
  EXPECT_EQ(0u, guarded.leftOut[0].find("skin-hue 50 is left out: it would add ")) << guarded.leftOut[0];
  expectKept(camouflage, keeps);
}

// Pale cloth under the screen's light, before a screen that costs so much anyway that the trials prove nothing.
TEST(ProposalGuard, ASkinHueDoesNotKeepLightThatLiesAllOverTheSubject) {
  Scene blouse;
  blouse.subject = [](int) { return Rgb{205, 205, 160}; };
  blouse.left = [](int x, int) { return x < 40 ? Rgb{70, 140, 90} : kScreen; };
  const Guarded guarded = blouse.guard([](KeySettings& s) { s.skinHue = 50; });
  EXPECT_EQ(0, guarded.settings.skinHue);
  ASSERT_EQ(1u, guarded.leftOut.size());
  EXPECT_NE(std::string::npos, guarded.leftOut[0].find("looks like the screen's light")) << guarded.leftOut[0];
}

}  // namespace
