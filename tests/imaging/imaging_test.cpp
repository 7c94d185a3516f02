// Imaging routines: values worked out by hand, and properties that hold for any image.
#include "imaging/CImagingZEP.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

#include "sample/test_images.h"

namespace {

using kalvetra::test::append;
using kalvetra::test::Bytes;
using kalvetra::test::noise;

CImagingZEP imaging;

Bytes solid(int width, int height, std::initializer_list<unsigned char> pixel) {
  Bytes image;
  for (int i = 0; i < width * height; ++i) append(image, pixel);
  return image;
}

unsigned char& alphaAt(Bytes& image, int width, int x, int y) {
  return image[static_cast<std::size_t>((y * width + x) * 4 + 3)];
}

TEST(ColorSpaces, FixedPointFloorsAndGreysStayNeutral) {
  EXPECT_EQ(-82.0f, imaging.RGBtoYIQ(0, 0, 255).I);  // -81.85, rounded down
  for (int v = 0; v < 256; ++v) {
    const auto grey = static_cast<unsigned char>(v);
    EXPECT_EQ(static_cast<float>(v), imaging.RGBtoYIQ(grey, grey, grey).Y);
    EXPECT_NEAR(0.0f, imaging.RGBtoYIQ2(grey, grey, grey).I, 1e-4);
    EXPECT_NEAR(0.0f, imaging.RGBtoHLS(grey, grey, grey).S, 1e-3);
  }
}

TEST(ColorSpaces, HuesOfThePrimaries) {
  EXPECT_NEAR(113.1f, imaging.RGBtoHLS(255, 0, 0).H, 0.05);
  EXPECT_NEAR(225.0f, imaging.RGBtoHLS(0, 255, 0).H, 0.05);
  EXPECT_NEAR(352.67f, imaging.RGBtoHLS(0, 0, 255).H, 0.05);
}

TEST(ColorSpaces, PolarFormLeadsBackToYIQ) {
  for (int r = 0; r < 256; r += 17) {
    for (int g = 0; g < 256; g += 17) {
      const auto red = static_cast<unsigned char>(r), green = static_cast<unsigned char>(g);
      const YIQ direct = imaging.RGBtoYIQ2(red, green, 90);
      const YIQ around = imaging.HLStoYIQ(imaging.RGBtoHLS(red, green, 90));
      // The two matrices are rounded to three digits each, so that they agree to about 0.3 only.
      EXPECT_NEAR(direct.Y, around.Y, 0.01);
      EXPECT_NEAR(direct.I, around.I, 0.35);
      EXPECT_NEAR(direct.Q, around.Q, 0.35);
    }
  }
}

TEST(ColorSpaces, HugeAndUndefinedInputsStayDefined) {
  const float huge = std::numeric_limits<float>::max(), nan = std::numeric_limits<float>::quiet_NaN();
  imaging.HLStoYIQ({huge, 128.0f, 30.0f});
  imaging.HLStoYIQ({nan, nan, nan});
  const RGB rgb = imaging.YIQtoRGB2({nan, huge, -huge});
  EXPECT_EQ(0, rgb.R);  // huge - huge and NaN: not a number
  EXPECT_EQ(4, imaging.Align8(-1));
  EXPECT_EQ(INT_MAX, imaging.Align8(INT_MAX));
  EXPECT_EQ(724, imaging.Align8(721));
  EXPECT_EQ(720, imaging.Align8(720));
}

TEST(Interpolation, EndsSlopesAndDegenerateIntervals) {
  EXPECT_EQ(0.0f, imaging.LinerInter(5.0f, 5.0f, 20.0f, 0.0f, 1.0f));
  EXPECT_EQ(1.0f, imaging.LinerInter(20.0f, 5.0f, 20.0f, 0.0f, 1.0f));
  EXPECT_EQ(0.5f, imaging.LinerInter(12.5f, 5.0f, 20.0f, 0.0f, 1.0f));
  EXPECT_EQ(1.0f, imaging.LinerInter(std::nanf(""), 5.0f, 20.0f, 0.0f, 1.0f));
  EXPECT_EQ(0.0f, imaging.LinerInter(3.0f, 3.0f, 3.0f, 0.0f, 1.0f));
  EXPECT_EQ(1.0f, imaging.LinerInter(3.1f, 3.0f, 3.0f, 0.0f, 1.0f));
  EXPECT_EQ(127, imaging.LinerInter(5, 0, 10, 0, 255));  // 127.5, truncated
  EXPECT_EQ(INT_MAX, imaging.LinerInter(0, INT_MIN, 1, INT_MIN, INT_MAX));
}

TEST(ChromaBlur, RoundTripOfTheConversion) {
  const unsigned char cases[][6] = {{128, 128, 128, 128, 127, 128},
                                    {255, 255, 255, 255, 253, 255},
                                    {0, 0, 0, 1, 0, 1},
                                    {255, 0, 0, 254, 0, 0}};  // red, green, blue in and out
  for (const auto& c : cases) {
    Bytes image{c[2], c[1], c[0], 77}, scratch(4);
    EXPECT_EQ(1, imaging.ChromaBlur32bit(1, 1, image.data(), scratch.data(), 0));
    EXPECT_EQ((Bytes{c[5], c[4], c[3], 77}), image);
  }
}

TEST(ChromaBlur, BordersAverageTheirClippedWindow) {
  // Cb of 9 in the corner's 3 x 3 block of an otherwise empty 6 x 6 image; byte 0 and byte 3 pass.
  Bytes image = solid(6, 6, {50, 0, 0, 9}), scratch(image.size());
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) image[static_cast<std::size_t>((y * 6 + x) * 4 + 1)] = 90;
  }
  imaging.ChromaBlurCore3_32bit(6, 6, image.data(), scratch.data(), 2);
  EXPECT_EQ(90, image[1]);                             // 9 of 9
  EXPECT_EQ(90 * 9 / 25, image[(2 * 6 + 2) * 4 + 1]);  // 9 of 25
  EXPECT_EQ(90 * 3 / 12, image[4 * 4 + 1]);            // column 4, row 0: 3 of 12
  EXPECT_EQ(50, image[0]);
  EXPECT_EQ(9, image[3]);
}

// Direct sums over each clipped window, on images larger than the radius.
TEST(AverageBlur, EqualsDirectWindowSums) {
  for (const int r : {0, 1, 3, 6}) {
    const int width = 9, height = 8;
    Bytes plane = noise(width * height, 5), expected(plane.size());
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        int sum = 0, columns = 0, rows = 0;
        for (int yy = std::max(y - r, 0); yy <= std::min(y + r, height - 1); ++yy, ++rows) {
          columns = 0;
          for (int xx = std::max(x - r, 0); xx <= std::min(x + r, width - 1); ++xx, ++columns) {
            sum += plane[static_cast<std::size_t>(yy * width + xx)];
          }
        }
        const float mean =
            static_cast<float>(sum) * (1.0f / static_cast<float>(columns)) * (1.0f / static_cast<float>(rows));
        expected[static_cast<std::size_t>(y * width + x)] = static_cast<unsigned char>(mean);
      }
    }
    imaging.AverageBlurA(width, height, plane.data(), static_cast<float>(r), 1.0f);
    EXPECT_EQ(expected, plane) << "radius " << r;
  }
}

TEST(AverageBlur, UniformImagesGainAndRefusals) {
  for (const int r : {0, 1, 7, 20}) {
    Bytes image = solid(24, 22, {12, 200, 255, 99});
    const Bytes before = image;
    imaging.AverageBlurCore32bit6(image.data(), 24, 22, 96, r);
    EXPECT_EQ(before, image) << "radius " << r;
  }
  Bytes plane(100, 200);
  imaging.AverageBlurA(10, 10, plane.data(), 1.0f, 2.0f);
  EXPECT_EQ(Bytes(100, 255), plane);
  EXPECT_EQ(0, imaging.AverageBlurA(10, 10, plane.data(), -1.5f, 1.0f));
  EXPECT_EQ(0, imaging.AverageBlurCore32bit6(plane.data(), 5, 5, 20, -1));
  EXPECT_EQ(Bytes(100, 255), plane);
}

TEST(MaskBlur, ErodesOnlyNearTransparency) {
  Bytes opaque = solid(9, 9, {1, 2, 3, 255});
  const Bytes before = opaque;
  EXPECT_EQ(1, imaging.MaskBlur(9, 9, opaque.data(), 2, 100, 0));
  EXPECT_EQ(before, opaque);

  Bytes noisy = noise(9 * 9 * 4, 6);
  const Bytes kept = noisy;
  imaging.MaskBlur(9, 9, noisy.data(), 2, 0, 0);
  EXPECT_EQ(kept, noisy);
  EXPECT_EQ(0, imaging.MaskBlur(9, 9, noisy.data(), -1, 100, 0));

  // One row, radius 1: next to a matte of 63 the blurred inverse is 192 / 3 = 64, reshaped to 64: 255 - 64 = 191.
  Bytes edge = solid(5, 3, {0, 0, 0, 255});
  for (int y = 0; y < 3; ++y) alphaAt(edge, 5, 0, y) = 63;
  Bytes dead = edge;
  imaging.MaskBlur(5, 3, edge.data(), 1, 100, 0);
  EXPECT_NEAR(191, alphaAt(edge, 5, 1, 1), 2);  // 192 * (1/3) * (1/3) * 3 may truncate to 63
  EXPECT_EQ(255, alphaAt(edge, 5, 2, 1));
  imaging.MaskBlur(5, 3, dead.data(), 1, 100, 255);  // a dead zone over the whole range
  EXPECT_EQ(255, alphaAt(dead, 5, 1, 1));
}

TEST(Resampling, SameSizeReproducesAndByteThreeStays) {
  Bytes source = noise(11 * 7 * 4, 7), result(source.size(), 42);
  imaging.DF_WH32bit5_1(source.data(), 11, 7, 44, result.data(), 11, 7, 44, 0, 2);
  for (std::size_t i = 0; i < source.size(); ++i) EXPECT_EQ(i % 4 == 3 ? 42 : source[i], result[i]) << i;
}

TEST(Resampling, UniformImagesStayWithinATruncatedTap) {
  for (const auto& [w, h] : {std::pair{40, 30}, {320, 3}, {7, 64}, {1, 1}, {2, 1}}) {
    Bytes source = solid(33, 29, {200, 100, 255, 0}), result(static_cast<std::size_t>(w * h * 4));
    imaging.DF_WH32bit5_1(source.data(), 33, 29, 132, result.data(), w, h, w * 4, 0, 2);
    for (std::size_t i = 0; i < result.size(); i += 4) {
      EXPECT_NEAR(200, result[i], 1);
      EXPECT_NEAR(100, result[i + 1], 1);
      EXPECT_NEAR(255, result[i + 2], 1);
    }
  }
}

TEST(Resampling, KernelAndClampingOfItsNegativeLobes) {
  EXPECT_EQ(1.0f, imaging.DF_weight(0.0, 2, 0));
  EXPECT_EQ(0.0f, imaging.DF_weight(2.0, 2, 0));
  EXPECT_NEAR(4.0 / (M_PI * M_PI) * std::sqrt(2.0), imaging.DF_weight(0.5, 2, 0), 1e-6);  // sinc(1/2) sinc(1/4)
  EXPECT_LT(imaging.DF_weight(1.5, 2, 0), 0.0f);
  EXPECT_NE(imaging.DF_weight(0.5, 2, 0), imaging.DF_weight(0.5, 2, 1));
  // A hard edge, enlarged with two lobes: overshoot on both sides has to be clamped, not wrapped.
  Bytes source;
  for (int x = 0; x < 8; ++x) source.insert(source.end(), 4, x < 4 ? 0 : 255);
  Bytes result(32 * 4);
  imaging.DF_WH32bit5_1(source.data(), 8, 1, 32, result.data(), 32, 1, 128, 0, 2);
  for (std::size_t x = 0; x < 14; ++x) EXPECT_LT(result[x * 4], 60) << x;
  for (std::size_t x = 18; x < 32; ++x) EXPECT_GT(result[x * 4], 195) << x;
}

TEST(Laplacian, PointsThresholdsAndUnequalBorders) {
  const auto edges = [](Bytes image, int width, int height, int threshold) {
    Bytes map(static_cast<std::size_t>(width * height), 77);
    imaging.Laplacian32bit8(image.data(), width, height, width * 4, map.data(), 0, 0, width, threshold);
    return map;
  };
  EXPECT_EQ(Bytes(20, 0), edges(solid(5, 4, {9, 99, 199, 0}), 5, 4, 0));
  Bytes point = solid(5, 5, {0, 0, 0, 0});
  std::fill_n(point.begin() + 12 * 4, 3, static_cast<unsigned char>(255));
  Bytes expected(25, 0);
  expected[12] = 255;
  EXPECT_EQ(expected, edges(point, 5, 5, 40));
  // A point of 5 in one channel gives 40 there and 40 / 3 = 13 on average.
  Bytes faint = solid(5, 5, {0, 0, 0, 0});
  std::fill_n(faint.begin() + 12 * 4, 3, static_cast<unsigned char>(5));
  EXPECT_EQ(5, edges(faint, 5, 5, 40)[12]);
  EXPECT_EQ(0, edges(faint, 5, 5, 41)[12]);
  // The top-left corner sees its inner neighbours twice and itself once, the bottom-right one itself four times.
  Bytes corner = solid(4, 4, {0, 0, 0, 0});
  std::fill_n(corner.begin(), 3, static_cast<unsigned char>(80));
  std::fill_n(corner.begin() + 15 * 4, 3, static_cast<unsigned char>(80));
  const Bytes map = edges(corner, 4, 4, 0);
  EXPECT_EQ(80 * 8 / 8, map[0]);
  EXPECT_EQ(80 * 5 / 8, map[15]);
}

TEST(Fields, SplitAndWeaveBack) {
  for (const int height : {1, 2, 5, 8}) {
    const int width = 3;
    Bytes frame = noise(width * height * 4, 8), woven(frame.size());
    Bytes odd(static_cast<std::size_t>(width * (height / 2) * 4)), even(frame.size() - odd.size());
    imaging.SepareteField32bit(width, height, frame.data(), odd.data(), even.data());
    EXPECT_TRUE(std::equal(odd.begin(), odd.begin() + std::min<std::ptrdiff_t>(width * 4, std::ssize(odd)),
                           frame.begin() + (height > 1 ? width * 4 : 0)));
    imaging.CompositeField32bit(width, height, woven.data(), odd.data(), even.data());
    EXPECT_EQ(frame, woven);
  }
}

TEST(Contraction, GrowsAnOctagonAndKeepsTheBorder) {
  const int size = 9;
  Bytes image = solid(size, size, {0, 0, 0, 255});
  alphaAt(image, size, 4, 4) = 0;
  const auto zeros = [&] {
    int count = 0;
    for (std::size_t i = 3; i < image.size(); i += 4) count += image[i] == 0;
    return count;
  };
  imaging.ContGray7(size, size, image.data(), 1, 0);
  EXPECT_EQ(5, zeros());
  alphaAt(image, size, 0, 0) = 0;
  Bytes two = image;
  imaging.ContGrayCore8(size, size, two.data(), 0);
  EXPECT_EQ(255, alphaAt(two, size, 1, 0));  // next to the 0 in the corner, but on the border
  EXPECT_EQ(255, alphaAt(two, size, 2, 2));  // a corner of the 5 x 5 block
  EXPECT_EQ(0, alphaAt(two, size, 3, 2));
}

TEST(Contraction, ManyStepsEqualSingleOnesAndEndEarly) {
  Bytes once = noise(12 * 10 * 4, 9), stepwise = once;
  imaging.ContGray7(12, 10, once.data(), 5, 20);
  for (int i = 0; i < 5; ++i) {
    if (i % 2 == 0) imaging.ContGrayCore4(12, 10, stepwise.data(), 20);
    if (i % 2 != 0) imaging.ContGrayCore8(12, 10, stepwise.data(), 20);
  }
  EXPECT_EQ(stepwise, once);
  imaging.ContGray7(12, 10, once.data(), INT_MAX, 20);  // would not end in a lifetime without an early stop
  EXPECT_EQ(0, imaging.ContGray7(3, 3, nullptr, 0, 0));
}

}  // namespace
