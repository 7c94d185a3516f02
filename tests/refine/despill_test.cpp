// Spill on drawn cloths, by hand, and what must hold on any picture.
#include "refine/despill.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

#include "deep/render.h"
#include "parameters/parameter_table.h"

namespace kalvetra {
namespace {

using Levels = std::array<float, 3>;
constexpr Levels kScreen{45.0f, 200.0f, 50.0f};

struct Picture {
  Picture(int w, int h) : width(w), height(h), values(static_cast<std::size_t>(w * h) * 4) {}
  Frame frame() {
    return packedFrame(reinterpret_cast<unsigned char*>(values.data()), width, height, PixelFormat::RgbaF32);
  }
  float* at(int x, int y) { return &values[static_cast<std::size_t>(y * width + x) * 4]; }
  Levels levels(int x, int y) { return {at(x, y)[0] * 255.0f, at(x, y)[1] * 255.0f, at(x, y)[2] * 255.0f}; }
  void set(int x, int y, const Levels& c) {
    for (std::size_t i = 0; i < 3; ++i) at(x, y)[i] = c[i] / 255.0f;
    at(x, y)[3] = 1.0f;
  }
  int width, height;
  std::vector<float> values;
};

Levels lit(Levels c, float spill) {
  for (std::size_t i = 0; i < 3; ++i) c[i] += spill * kScreen[i];
  return c;
}

constexpr int kWidth = 480, kHeight = 270, kLeft = 100, kTop = 60;

// A cloth in the middle of the screen; spill(d) of it d pixels from its edge.
Picture drawn(const Levels& cloth, const std::function<float(int)>& spill) {
  Picture p(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int d = std::min({x - kLeft, kWidth - 1 - kLeft - x, y - kTop, kHeight - 1 - kTop - y});
      p.set(x, y, d < 0 ? kScreen : lit(cloth, spill(d)));
    }
  }
  return p;
}

float none(int) { return 0.0f; }
float everywhere(int) { return 0.15f; }
float atTheRim(int d) { return 0.2f * plates::smoothStep(13.0f, 0.0f, static_cast<float>(d)); }

KeySettings byMaterial() {
  KeySettings s = defaultSettings();
  s.keyColor = {kScreen[0] / 255.0, kScreen[1] / 255.0, kScreen[2] / 255.0};
  s.view = 2;
  s.despill = 1;
  return s;
}

Picture keyed(Picture& source, const KeySettings& s, const Workers* workers = nullptr) {
  Picture plate(16, 9), result(source.width, source.height);
  for (int y = 0; y < 9; ++y) {
    for (int x = 0; x < 16; ++x) plate.set(x, y, kScreen);
  }
  const KnownPlate known{plate.frame()};
  renderDeep(s, source.frame(), result.frame(), {.workers = workers, .plate = &known});
  // The cloth is solid, which the key alone does not find everywhere.
  for (int y = kTop; y < std::min(source.height, kHeight) - kTop; ++y) {
    for (int x = kLeft; x < std::min(source.width, kWidth) - kLeft; ++x) result.at(x, y)[3] = 1.0f;
  }
  refine::despillByMaterial({source.frame(), &known, s}, result.frame(), nullptr, workers);
  return result;
}

// The largest error of a channel over the solid cloth.
float error(Picture& result, const Levels& truth) {
  float most = 0.0f;
  for (int y = kTop; y < kHeight - kTop; ++y) {
    for (int x = kLeft; x < kWidth - kLeft; ++x) {
      const Levels c = result.levels(x, y);
      for (std::size_t i = 0; i < 3; ++i) most = std::max(most, std::fabs(c[i] - truth[i]));
    }
  }
  return most;
}

// Faint spill on brown, which not even the engine takes for spill, may stay.
TEST(DespillByMaterial, GivesClothsTheirColourBack) {
  const struct {
    const char* name;
    Levels cloth;
    float (*spill)(int);
    float most = 2.0f;
  } cases[] = {{"yellow", {230.0f, 200.0f, 50.0f}, atTheRim},     {"gold", {204.0f, 163.0f, 102.0f}, atTheRim},
               {"brown", {100.0f, 70.0f, 50.0f}, atTheRim, 4.0f}, {"white", {210.0f, 210.0f, 210.0f}, everywhere},
               {"white", {210.0f, 210.0f, 210.0f}, atTheRim},     {"black", {20.0f, 20.0f, 20.0f}, everywhere}};
  for (const auto& c : cases) {
    Picture source = drawn(c.cloth, c.spill);
    Picture result = keyed(source, byMaterial());
    EXPECT_LE(error(result, c.cloth), c.most) << c.name;
  }
}

TEST(DespillByMaterial, LeavesColoursThatAreMeant) {
  for (const Levels& cloth : {Levels{200.0f, 150.0f, 130.0f},
                              {95.0f, 110.0f, 70.0f},
                              {230.0f, 200.0f, 50.0f},
                              {40.0f, 60.0f, 110.0f},
                              {150.0f, 60.0f, 140.0f}}) {
    Picture source = drawn(cloth, none);
    Picture result = keyed(source, byMaterial());
    EXPECT_LE(error(result, cloth), 0.5f) << cloth[0] << ' ' << cloth[1] << ' ' << cloth[2];
  }
}

TEST(DespillByMaterial, SlidersSayHowMuch) {
  constexpr Levels kWhite{210.0f, 210.0f, 210.0f};
  Picture source = drawn(kWhite, atTheRim);
  KeySettings s = byMaterial();
  const int x = kWidth / 2, y = kTop + 3;
  s.despillWhite = 10;
  EXPECT_NEAR(keyed(source, s).levels(x, y)[0], 210.0f + 0.1f * kScreen[0], 2.0f);
  s.despillWhite = 0;
  EXPECT_NEAR(keyed(source, s).levels(x, y)[0], 210.0f + 0.2f * kScreen[0], 2.0f);
  s = byMaterial();
  s.despillSkin = 0;  // of other colours
  EXPECT_NEAR(keyed(source, s).levels(x, y)[0], 210.0f, 2.0f);
}

TEST(DespillByMaterial, IsTheSameOnAnyNumberOfThreadsAndOffUnlessAsked) {
  Picture source = drawn({204.0f, 163.0f, 102.0f}, atTheRim);
  for (int i = 0; i < 40; ++i) source.set(kLeft - 2 + i, kTop - 1, {120.0f + static_cast<float>(i), 150.0f, 70.0f});
  const Picture plain = keyed(source, byMaterial());
  for (const int count : {2, 7}) {
    const Workers workers{count, [](int parts, const std::function<void(int)>& work) {
                            for (int i = parts; i-- > 0;) work(i);
                          }};
    EXPECT_EQ(keyed(source, byMaterial(), &workers).values, plain.values);
  }
  KeySettings off = byMaterial();
  off.despill = 0;
  EXPECT_NE(keyed(source, off).values, plain.values);
  Picture engine = keyed(source, off), again = engine;
  refine::despillByMaterial({source.frame(), nullptr, off}, again.frame());
  EXPECT_EQ(engine.values, again.values);
}

TEST(DespillByMaterial, TakesAnyFrame) {
  const float values[] = {0.0f,
                          0.2f,
                          1.0f,
                          -3.0f,
                          40.0f,
                          1e30f,
                          std::numeric_limits<float>::quiet_NaN(),
                          std::numeric_limits<float>::infinity()};
  for (const auto& [w, h] : {std::array{1, 1}, {1, 300}, {300, 1}, {33, 17}}) {
    for (const float v : values) {
      Picture source(w, h);
      for (std::size_t i = 0; i < source.values.size(); ++i) source.values[i] = i % 3 == 0 ? v : 0.3f;
      Picture result = keyed(source, byMaterial());
      for (const float out : result.values) ASSERT_TRUE(std::isfinite(out)) << w << ' ' << h << ' ' << v;
    }
  }
  Picture bare = drawn(kScreen, none);
  Picture result = keyed(bare, byMaterial());
  for (const float out : result.values) ASSERT_TRUE(std::isfinite(out));
}

}  // namespace
}  // namespace kalvetra
