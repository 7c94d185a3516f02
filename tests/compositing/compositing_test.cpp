// Mattes, views and composites on pictures made by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "compositing/cover.h"
#include "compositing/mattes.h"
#include "compositing/over.h"
#include "sample/test_images.h"

namespace {

using namespace kalvetra;
using Pixel = std::array<unsigned char, 4>;  // alpha, red, green, blue

Image solid(Pixel pixel, int width = 1, int height = 1) {
  Image image(width, height);
  for (std::size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = pixel[i % 4];
  return image;
}

Image grey(unsigned char level, int width = 1, int height = 1) {
  return solid({255, level, level, level}, width, height);
}

Image noisy(std::uint64_t seed) {
  Image image(31, 17);
  image.bytes = test::noise(31 * 17 * 4, seed);
  return image;
}

Image noisyMatte(std::uint64_t seed) {
  Image image = noisy(seed);
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) image.bytes[i] = 255;
  return image;
}

Pixel first(const Image& image) { return {image.bytes[0], image.bytes[1], image.bytes[2], image.bytes[3]}; }

Pixel held(Pixel matte, Pixel source, Pixel keyed) {
  Image result = solid(keyed);
  applyHoldout(solid(matte), solid(source), result);
  return first(result);
}

Pixel cleared(Pixel matte, Pixel keyed) {
  Image result = solid(keyed);
  applyGarbage(solid(matte), result);
  return first(result);
}

TEST(MatteLevels, AreLumaTimesAlpha) {
  for (int v = 0; v < 256; ++v) EXPECT_EQ(v, matteLevel(grey(static_cast<unsigned char>(v)).bytes.data()));
  EXPECT_EQ(54, matteLevel(solid({255, 255, 0, 0}).bytes.data()));   // 0.2126 * 255 = 54.2
  EXPECT_EQ(182, matteLevel(solid({255, 0, 255, 0}).bytes.data()));  // 0.7152 * 255 = 182.4
  EXPECT_EQ(18, matteLevel(solid({255, 0, 0, 255}).bytes.data()));   // 0.0722 * 255 = 18.4
  EXPECT_EQ(100, matteLevel(solid({128, 200, 200, 200}).bytes.data()));
}

TEST(Holdout, KnownValues) {
  const Pixel white{255, 255, 255, 255}, half{255, 128, 128, 128}, source{255, 40, 60, 80};
  EXPECT_EQ(source, held(white, source, {0, 160, 160, 160})) << "clear becomes the source";
  EXPECT_EQ((Pixel{255, 160, 160, 160}), held(white, source, {255, 160, 160, 160})) << "opaque stays keyed";
  EXPECT_EQ((Pixel{128, 40, 60, 80}), held(half, source, {0, 9, 9, 9}));
  // a = 100: a' = 255; (100 * 200 + 155 * 40) / 255 = 102.7, (100 * 0 + 155 * 60) / 255 = 36.5, ... 48.6
  EXPECT_EQ((Pixel{255, 103, 36, 49}), held(white, source, {100, 200, 0, 0}));
  // a = 100, h = 128: a' = 100 + 77.8 = 178; (100 * 200 + 78 * 40) / 178 = 129.9
  EXPECT_EQ(178, held(half, source, {100, 200, 0, 0})[0]);
  EXPECT_EQ(130, held(half, source, {100, 200, 0, 0})[1]);
}

TEST(Holdout, NeverExceedsTheSource) {
  const Pixel white{255, 255, 255, 255};
  EXPECT_EQ((Pixel{90, 40, 60, 80}), held(white, {90, 40, 60, 80}, {0, 1, 2, 3}));
  EXPECT_EQ(90, held(white, {90, 40, 60, 80}, {60, 1, 2, 3})[0]);
  EXPECT_EQ(0, held(white, {0, 40, 60, 80}, {0, 1, 2, 3})[0]);
}

TEST(Garbage, KnownValues) {
  EXPECT_EQ((Pixel{0, 1, 2, 3}), cleared({255, 255, 255, 255}, {200, 1, 2, 3}));
  EXPECT_EQ((Pixel{100, 1, 2, 3}), cleared({255, 128, 128, 128}, {200, 1, 2, 3}));  // 200 * 127 / 255 = 99.6
  EXPECT_EQ((Pixel{200, 1, 2, 3}), cleared({0, 255, 255, 255}, {200, 1, 2, 3})) << "a clear matte is not in force";
}

TEST(Mattes, BlackOnesChangeNothingWhiteOnesEverything) {
  const Image source = noisyMatte(1), keyed = noisy(2), black = grey(0, 31, 17), white = grey(255, 31, 17);
  Image result = keyed;
  applyHoldout(black, source, result);
  applyGarbage(black, result);
  EXPECT_EQ(keyed.bytes, result.bytes);
  applyHoldout(white, source, result);
  for (std::size_t i = 0; i < result.bytes.size(); i += 4) {
    ASSERT_EQ(255, result.bytes[i]);
    for (std::size_t c = i + 1; keyed.bytes[i] == 0 && c < i + 4; ++c) ASSERT_EQ(source.bytes[c], result.bytes[c]);
  }
  applyGarbage(white, result);
  for (std::size_t i = 0; i < result.bytes.size(); i += 4) ASSERT_EQ(0, result.bytes[i]);
}

// More matte means more alpha with a holdout, less with garbage; colours stay between those of source and key.
TEST(Mattes, HigherLevelsNeverActLess) {
  const Image source = noisyMatte(3), keyed = noisy(4);
  Image lessHeld = keyed, lessCleared = keyed;
  for (int level = 15; level < 256; level += 15) {
    const Image matte = grey(static_cast<unsigned char>(level), 31, 17);
    Image holds = keyed, clears = keyed;
    applyHoldout(matte, source, holds);
    applyGarbage(matte, clears);
    for (std::size_t i = 0; i < keyed.bytes.size(); ++i) {
      if (i % 4 == 0) {
        ASSERT_GE(holds.bytes[i], lessHeld.bytes[i]);
        ASSERT_LE(clears.bytes[i], lessCleared.bytes[i]);
      } else {
        ASSERT_EQ(keyed.bytes[i], clears.bytes[i]);
        ASSERT_GE(holds.bytes[i], std::min(keyed.bytes[i], source.bytes[i]));
        ASSERT_LE(holds.bytes[i], std::max(keyed.bytes[i], source.bytes[i]));
      }
    }
    lessHeld = holds;
    lessCleared = clears;
  }
}

TEST(Over, IsTheRoundedMixAndOpaque) {
  const Image keyed = noisy(5), background = noisy(6);
  Image out;
  layOver(keyed, background, out);
  for (std::size_t i = 0; i < out.bytes.size(); ++i) {
    const double a = keyed.bytes[i / 4 * 4] / 255.0;
    const long expected = i % 4 == 0 ? 255 : std::lround(keyed.bytes[i] * a + background.bytes[i] * (1 - a));
    ASSERT_EQ(expected, out.bytes[i]);
  }
  Image inPlace = keyed;
  layOver(inPlace, background, inPlace);
  EXPECT_EQ(out.bytes, inPlace.bytes);
  EXPECT_THROW(layOver(keyed, grey(0), out), std::invalid_argument);
}

TEST(Cover, KeepsPicturesThatFit) {
  const Image picture = noisyMatte(7);
  EXPECT_EQ(picture.bytes, covering(picture, 1.0, {31, 17, 1.0}).bytes);
}

TEST(Cover, CropsEvenlyAndStaysUniform) {
  // Thirds of red, green and blue, 90 x 20, on a square of 20: the middle of the green is left.
  Image thirds(90, 20);
  for (int y = 0; y < 20; ++y) {
    for (int x = 0; x < 90; ++x) {
      const Pixel color = x < 30 ? Pixel{255, 255, 0, 0} : x < 60 ? Pixel{255, 0, 255, 0} : Pixel{255, 0, 0, 255};
      std::copy_n(color.begin(), 4, thirds.row(y) + 4 * x);
    }
  }
  EXPECT_EQ(solid({255, 0, 255, 0}, 20, 20).bytes, covering(thirds, 1.0, {20, 20, 1.0}).bytes);
  EXPECT_EQ(solid({255, 0, 255, 0}, 50, 50).bytes, covering(thirds, 1.0, {50, 50, 1.0}).bytes);
  // Pixels twice as wide make a square of it with its full height and half of its width.
  EXPECT_EQ(20, covering(thirds, 2.0, {20, 20, 1.0}).height);
  EXPECT_EQ(solid({255, 0, 255, 0}, 20, 20).bytes, covering(thirds, 2.0, {20, 20, 1.0}).bytes);
  for (const auto& [width, height] : {std::pair{1, 1}, {3, 200}, {640, 2}, {33, 77}}) {
    const Image result = covering(solid({255, 12, 200, 99}, 160, 90), 1.0, {width, height, 1.0});
    EXPECT_EQ(solid({255, 12, 200, 99}, width, height).bytes, result.bytes);
  }
}

}  // namespace
