// What speaks against a change of settings, on changes and pictures of which it is known.
#include "analysis/harm.h"

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

// A subject in the right half over a screen, in the left half whatever `left` draws.
struct Scene {
  std::function<Rgb(int x)> left = [](int) { return kScreen; };
  // By the distance in pixels from the outline.
  std::function<Rgb(int depth)> subject = [](int) { return Rgb{170, 40, 40}; };

  void addTo(Trials& trials) const {
    test::Bytes picture, backdrop;
    for (int i = 0; i < kWidth * kHeight; ++i) {
      const int x = i % kWidth, y = i / kWidth, depth = std::min(std::min(x - 90, 149 - x), std::min(y - 20, 99 - y));
      const Rgb color = x < kWidth / 2 ? left(x) : depth < 0 ? kScreen : subject(depth);
      for (test::Bytes* bytes : {&picture, &backdrop}) bytes->push_back(255);
      for (const float c : color) picture.push_back(static_cast<unsigned char>(c));
      for (const float c : kScreen) backdrop.push_back(static_cast<unsigned char>(c));
    }
    trials.add(picture.data(), backdrop.data(), kWidth, kHeight,
               makeReferenceMatte(picture.data(), backdrop.data(), kWidth, kHeight, 1.0f));
  }
};

using Alteration = std::function<void(KeySettings&)>;

Harm harmTo(const std::vector<Scene>& scenes, const Alteration& alter) {
  KeySettings settings = defaultSettings();
  settings.keyColor = {45 / 255.0, 165 / 255.0, 75 / 255.0};
  Trials trials(settings);
  for (const Scene& scene : scenes) scene.addTo(trials);
  alter(settings);
  return worstHarm(trials.changes(settings));
}

void expectHarm(const Harm& harm, const std::string& reason) {
  EXPECT_EQ(0.0, harm.allowed) << harm.reason;
  EXPECT_NE(std::string::npos, harm.reason.find(reason)) << harm.reason;
}
void expectNone(const Harm& harm) { EXPECT_EQ(1.0, harm.allowed) << harm.reason; }

// By hand: 2.5 % is the limit of what may be filled, and half of it the end of what may be done in full.
TEST(Harm, IsWeighedSoftly) {
  EXPECT_EQ(1.0, harmOf({}).allowed);
  EXPECT_EQ(1.0, harmOf({.filled = 1.25}).allowed);
  EXPECT_NEAR(0.4, harmOf({.filled = 2.0}).allowed, 1e-9);
  EXPECT_EQ(0.0, harmOf({.filled = 2.5}).allowed);
  EXPECT_NEAR(0.4, harmOf({.filled = 2.0, .thinned = 4.0}).allowed, 1e-9);
}

TEST(Harm, VeilsAreNotFilledAndSolidsNotOpened) {
  Scene veil, teal;
  veil.left = [](int x) { return x < 40 ? mixed(kScreen, {235, 235, 235}, 0.35f) : kScreen; };
  expectHarm(harmTo({veil}, [](KeySettings& s) { s.clipWhite = 50; }), "would become");
  expectNone(harmTo({veil}, [](KeySettings& s) { s.clipWhite = 98; }));
  expectHarm(harmTo({veil}, [](KeySettings& s) { s.clipBlack = 30; }), "would become");
  teal.subject = [](int) { return Rgb{20, 120, 145}; };
  expectNone(harmTo({teal}, [](KeySettings& s) { s.blueHue = -25; }));
  expectHarm(harmTo({teal}, [](KeySettings& s) { s.blueHue = 50; }), "would become");
}

// Brown hair with the screen's light on its outline, pale cloth under it all over, and camouflage and yellow cloth,
// which are of that colour.
TEST(Harm, ASkinHueKeepsTheSubjectsOwnColourAndNotTheScreensLight) {
  const auto keeps = [](KeySettings& s) { s.skinHue = 50; };
  Scene hair, blouse, camouflage, yellow;
  hair.subject = [](int depth) { return mixed({110, 80, 45}, {90, 110, 40}, depth < 6 ? 1.0f : 0.0f); };
  blouse.subject = [](int) { return Rgb{205, 205, 160}; };
  camouflage.subject = [](int) { return Rgb{96, 112, 60}; };
  yellow.subject = [](int) { return Rgb{225, 205, 30}; };
  for (const Scene& lit : {hair, blouse}) expectHarm(harmTo({lit}, keeps), "green that look like the screen's light");
  for (const Scene& own : {camouflage, yellow}) expectNone(harmTo({own}, keeps));
  // What is right for one picture does not excuse the harm to another.
  expectHarm(harmTo({hair, yellow}, keeps), "green that look like the screen's light");
  expectHarm(harmTo({yellow, hair}, keeps), "green that look like the screen's light");
}

}  // namespace
