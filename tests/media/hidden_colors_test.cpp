// Colours where alpha is 0: what outputs that a lossy codec makes hold there.
#include "media/pixels/hidden_colors.h"

#include <gtest/gtest.h>

#include <array>

#include "sample/test_images.h"

namespace {

using kalvetra::Image;
using kalvetra::withHiddenColorsExtended;
using Pixel = std::array<unsigned char, 4>;  // host order

constexpr Pixel kRed{255, 200, 40, 20}, kClearGrey{0, 160, 160, 160};

template <class Color>
Image drawn(int width, int height, Color color) {
  Image image(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) std::copy_n(color(x, y).begin(), 4, image.row(y) + 4 * x);
  }
  return image;
}

Pixel at(const Image& image, int x, int y) {
  const unsigned char* pixel = image.row(y) + std::ptrdiff_t{4} * x;
  return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

// Noise whose alpha is 0 in about half of the pixels.
Image speckled(int width, int height) {
  Image image(width, height);
  image.bytes = kalvetra::test::noise(4 * width * height, 7);
  for (std::size_t i = 0; i < image.bytes.size(); i += 4)
    image.bytes[i] = static_cast<unsigned char>(i % 3 == 0 ? 0 : image.bytes[i] / 2);
  return image;
}

TEST(HiddenColors, WhatIsSeenStaysAndWhatWasHiddenDoesNotCount) {
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 7}, {9, 1}, {2, 2}, {17, 33}, {64, 48}, {101, 7}}) {
    const Image keyed = speckled(width, height);
    Image other = keyed;
    for (std::size_t i = 0; i < other.bytes.size(); ++i) {
      if (other.bytes[i / 4 * 4] == 0 && i % 4 != 0) other.bytes[i] ^= 255;
    }
    const Image result = withHiddenColorsExtended(keyed);
    EXPECT_EQ(result.bytes, withHiddenColorsExtended(other).bytes) << width << " x " << height;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const Pixel before = at(keyed, x, y), after = at(result, x, y);
        ASSERT_TRUE(before[0] == 0 ? after[0] == 0 : after == before) << x << ", " << y;
      }
    }
  }
}

TEST(HiddenColors, WithoutEdgesClearPicturesTurnBlackAndOpaqueOnesStay) {
  const Pixel black{0, 0, 0, 0};
  for (const auto& [width, height] : {std::pair{1, 1}, {1, 40}, {40, 1}, {33, 31}}) {
    const Image clear = withHiddenColorsExtended(drawn(width, height, [](int, int) { return kClearGrey; }));
    const Image opaque = drawn(width, height, [](int, int) { return kRed; });
    EXPECT_EQ(opaque.bytes, withHiddenColorsExtended(opaque).bytes);
    for (int i = 0; i < width * height; ++i) ASSERT_EQ(black, at(clear, i % width, i / width));
  }
}

// To the left an opaque half, or a hair one pixel wide; the same in every row.
TEST(HiddenColors, GoOutFromTheEdgeAndFadeWithoutASeam) {
  for (const int first : {0, 35}) {
    const Image keyed = drawn(128, 64, [first](int x, int) { return x >= first && x < 36 ? kRed : kClearGrey; });
    const Image result = withHiddenColorsExtended(keyed);
    for (int y = 0; y < 64; ++y) {
      EXPECT_EQ(at(result, 36, 0), at(result, 36, y)) << "an even edge came out uneven";
      for (int x = 36; x < 40; ++x) EXPECT_GT(at(result, x, y)[1], 150) << "from " << first << " at " << x;
      for (int x = 36; x < 127; ++x) {
        const int here = at(result, x, y)[1], next = at(result, x + 1, y)[1];
        ASSERT_TRUE(next <= here && here - next <= 24) << here << " beside " << next << " at " << x;
      }
      for (int x = 36 + 32; x < 128; ++x) ASSERT_EQ((Pixel{0, 0, 0, 0}), at(result, x, y)) << x;
    }
  }
}

TEST(HiddenColors, ASpeckDoesNotGrowIntoABlot) {
  const Image result =
      withHiddenColorsExtended(drawn(64, 64, [](int x, int y) { return x == 30 && y == 30 ? kRed : kClearGrey; }));
  EXPECT_GT(at(result, 31, 30)[1], 60);
  EXPECT_LT(at(result, 20, 30)[1], 30);
}

// An editor makes a straight picture smaller by averaging colours and alpha separately.
TEST(HiddenColors, StraightPicturesMayBeScaled) {
  const auto worstAtHalfSize = [](const Image& image) {
    double worst = 0;
    for (int y = 0; y < image.height; y += 2) {
      for (int x = 0; x < image.width; x += 2) {
        double alpha = 0, color = 0, light = 0;
        for (int i = 0; i < 4; ++i) {
          const Pixel pixel = at(image, x + i % 2, y + i / 2);
          alpha += pixel[0] / 255.0 / 4, color += pixel[1] / 4.0, light += pixel[1] * pixel[0] / 255.0 / 4;
        }
        worst = std::max(worst, std::abs(alpha * color - light));
      }
    }
    return worst;
  };
  const Image keyed = drawn(64, 64, [](int x, int y) { return x + y / 3 < 40 ? kRed : Pixel{0, 0, 0, 0}; });
  EXPECT_GT(worstAtHalfSize(keyed), 40);
  EXPECT_LT(worstAtHalfSize(withHiddenColorsExtended(keyed)), 6);
}

}  // namespace
