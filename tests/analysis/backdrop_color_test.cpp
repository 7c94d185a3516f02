// The backdrop's colour, and what is reported about it.
#include "analysis/backdrop_color.h"

#include <gtest/gtest.h>

#include "sample/test_images.h"

namespace {

using kalvetra::BackdropColor;
using kalvetra::BackdropFinder;
using namespace kalvetra::test;

Bytes uniform(int width, int height, int red, int green, int blue) {
  Bytes picture;
  for (int i = 0; i < width * height; ++i) {
    append(picture,
           {255, static_cast<unsigned char>(red), static_cast<unsigned char>(green), static_cast<unsigned char>(blue)});
  }
  return picture;
}

std::optional<BackdropColor> findIn(const Bytes& picture, int width, int height) {
  BackdropFinder finder;
  finder.add(picture.data(), width, height);
  return finder.find();
}

TEST(BackdropFinder, FindsAUniformScreenExactly) {
  for (const auto& [r, g, b] : {std::array{45, 165, 75}, {0, 177, 64}, {20, 150, 120}, {100, 180, 50}}) {
    const auto found = findIn(uniform(64, 48, r, g, b), 64, 48);
    ASSERT_TRUE(found.has_value()) << g;
    EXPECT_EQ((std::array{r, g, b}), (std::array<int, 3>{found->red, found->green, found->blue}));
    EXPECT_NEAR(0.0, found->lumaSpread, 0.01);
    EXPECT_NEAR(0.0, found->chromaSpread, 0.01);
    EXPECT_EQ(0.0, found->unevenness);
    EXPECT_EQ(1.0, found->confidence);
    EXPECT_EQ(64u * 48u, found->pixels);
  }
}

TEST(BackdropFinder, FindsTheScreenAndRefusesOtherPictures) {
  const auto found = findIn(greenScreen(200, 120, 3), 200, 120);
  ASSERT_TRUE(found.has_value());
  EXPECT_NEAR(34, found->red, 8);
  EXPECT_NEAR(134, found->green, 14);
  EXPECT_NEAR(60, found->blue, 8);
  EXPECT_GT(found->pixels, found->examined / 2);
  EXPECT_FALSE(findIn(uniform(10, 10, 30, 60, 180), 10, 10));    // blue screen
  EXPECT_FALSE(findIn(uniform(10, 10, 128, 130, 128), 10, 10));  // grey
  EXPECT_FALSE(findIn(uniform(10, 10, 130, 150, 40), 10, 10));   // dry grass
  EXPECT_FALSE(findIn(uniform(10, 10, 60, 160, 165), 10, 10));   // cyan
  EXPECT_FALSE(BackdropFinder().find().has_value());
}

// A backdrop that was keyed already is still green under its alpha.
TEST(BackdropFinder, LeavesTransparentPixelsOut) {
  Bytes picture = uniform(64, 64, 30, 200, 60);
  const Bytes opaque = uniform(64, 32, 45, 165, 75);
  std::copy(opaque.begin(), opaque.end(), picture.begin());
  for (std::size_t i = opaque.size(); i < picture.size(); i += 4) picture[i] = 127;
  const auto found = findIn(picture, 64, 64);
  ASSERT_TRUE(found.has_value());
  EXPECT_EQ(45, found->red);
  EXPECT_EQ(64u * 32u, found->examined);
  EXPECT_EQ(1.0, found->confidence);
}

// By hand: half of the picture at luminance 124.3, half a fifth darker.
TEST(BackdropFinder, MeasuresSpreadAndLight) {
  Bytes halves = uniform(64, 32, 50, 160, 80);
  const Bytes dark = uniform(64, 32, 40, 128, 64);
  halves.insert(halves.end(), dark.begin(), dark.end());
  const auto found = findIn(halves, 64, 64);
  ASSERT_TRUE(found.has_value());
  EXPECT_NEAR(20.0, found->unevenness, 0.1);
  EXPECT_NEAR((0.299 * 10 + 0.587 * 32 + 0.114 * 16) / 2, found->lumaSpread, 0.01);
  EXPECT_EQ(45, found->red);
  EXPECT_EQ(144, found->green);
}

TEST(BackdropFinder, NoiseWidensTheSpread) {
  double last = 0.0;
  for (const int noise : {2, 6, 15}) {
    Random random(5);
    Bytes picture = uniform(64, 64, 45, 165, 75);
    for (unsigned char& b : picture)
      b = static_cast<unsigned char>(std::clamp(b + random.within(-noise, noise), 0, 255));
    const auto found = findIn(picture, 64, 64);
    ASSERT_TRUE(found.has_value());
    EXPECT_GT(found->chromaSpread, last + 0.5);
    last = found->chromaSpread;
  }
}

TEST(BackdropFinder, AnotherGreenOrASmallScreenLowersTheConfidence) {
  Bytes mixed = uniform(64, 40, 45, 165, 75);
  const Bytes other = uniform(64, 24, 120, 240, 40);
  mixed.insert(mixed.end(), other.begin(), other.end());
  const auto competing = findIn(mixed, 64, 64);
  ASSERT_TRUE(competing.has_value());
  EXPECT_NEAR(40.0 / 64.0, competing->confidence, 0.01);
  EXPECT_EQ(165, competing->green);

  Bytes small = uniform(64, 8, 45, 165, 75);
  const Bytes grey = uniform(64, 56, 128, 128, 128);
  small.insert(small.end(), grey.begin(), grey.end());
  const auto rare = findIn(small, 64, 64);
  ASSERT_TRUE(rare.has_value());
  EXPECT_NEAR(0.5, rare->confidence, 0.01);  // an eighth of the picture, half of what it takes to be sure
  EXPECT_NE(std::string::npos, rare->reason.find("12 % of the picture")) << rare->reason;
}

TEST(AreaMean, AveragesItsAreaAlone) {
  Bytes picture = uniform(8, 8, 10, 20, 30);
  picture[(2 * 8 + 3) * 4 + 1] = 90;  // red of pixel 3,2
  kalvetra::AreaMean mean;
  EXPECT_FALSE(mean.mean().has_value());
  mean.add(picture.data(), 8, {2, 2, 2, 2});
  const auto color = mean.mean();
  ASSERT_TRUE(color.has_value());
  EXPECT_EQ(30, color->red);  // (10 + 90 + 10 + 10) / 4
  EXPECT_EQ(20, color->green);
  EXPECT_EQ(30, color->blue);
  EXPECT_EQ(4u, color->pixels);
}

}  // namespace
