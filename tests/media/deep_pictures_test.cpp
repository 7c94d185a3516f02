// Deep pictures: what is read into floats, and what of them goes into each kind of plane, by values worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "media/output/picture_hash.h"
#include "media/pixels/frame_converter.h"
#include "media/pixels/frame_packer.h"
#include "media/pixels/hidden_colors.h"
#include "media/pixels/picture_depth.h"
#include "support/user_error.h"
#include "tests/support/drawn_frame.h"

namespace {

using kalvetra::AlphaMode;
using kalvetra::ColorTags;
using kalvetra::ConversionOptions;
using kalvetra::FrameConverter;
using kalvetra::FramePacker;
using kalvetra::FramePtr;
using kalvetra::Image;
using kalvetra::PixelFormat;
using kalvetra::test::drawn;
using Pixel = std::array<float, 4>;  // red, green, blue, alpha

constexpr float kInfinity = std::numeric_limits<float>::infinity();

ColorTags tags(AVColorSpace matrix, AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709) {
  return {matrix, matrix == AVCOL_SPC_RGB ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, transfer};
}

Pixel at(const Image& image, int x, int y = 0) {
  Pixel pixel;
  std::copy_n(image.floats(y) + 4 * x, 4, pixel.begin());
  return pixel;
}

Image rowOf(const std::vector<Pixel>& pixels) {
  Image image(static_cast<int>(pixels.size()), 1, PixelFormat::RgbaF32);
  for (std::size_t x = 0; x < pixels.size(); ++x) std::copy_n(pixels[x].begin(), 4, image.floats(0) + 4 * x);
  return image;
}

FramePtr packed(const Image& image, AVPixelFormat format, AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709,
                AlphaMode alpha = AlphaMode::Straight, bool halves = true) {
  const bool rgb = (av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_RGB) != 0;
  return FramePacker(format, rgb ? AVCOL_SPC_RGB : AVCOL_SPC_BT709, alpha, transfer, {.deep = true, .halves = halves})
      .pack(image);
}

template <class Sample>
Sample sample(const FramePtr& frame, int plane, int x) {
  return reinterpret_cast<const Sample*>(frame->data[plane])[x];
}

FramePtr lightOf(const std::vector<Pixel>& pixels, AVPixelFormat format = AV_PIX_FMT_GBRAPF32) {
  FramePtr frame = kalvetra::makePicture(format, static_cast<int>(pixels.size()), 1);
  for (std::size_t x = 0; x < pixels.size(); ++x) {
    for (std::size_t c = 0; c < 4; ++c) {
      const int plane = std::array{2, 0, 1, 3}[c];
      if (frame->data[plane] != nullptr) reinterpret_cast<float*>(frame->data[plane])[x] = pixels[x][c];
    }
  }
  return frame;
}

TEST(DeepReading, TenBitsOfLimitedRangeReachBlackAndWhiteExactlyAndGoOn) {
  const std::array codes{4, 64, 65, 502, 940, 1019};
  const FramePtr frame = drawn(AV_PIX_FMT_YUVA444P10, 6, 1, AVCHROMA_LOC_LEFT, [&](int c, int x, int) {
    return c == 0 ? codes[static_cast<std::size_t>(x)] : c == 3 ? 341 * (x % 4) : 512;
  });
  const Image image = FrameConverter(tags(AVCOL_SPC_BT709), {.deep = true}).convert(*frame);
  for (int x = 0; x < 6; ++x) {
    const float grey = static_cast<float>(codes[static_cast<std::size_t>(x)] - 64) / 876.0f;
    EXPECT_EQ((Pixel{grey, grey, grey, static_cast<float>(341 * (x % 4)) / 1023.0f}), at(image, x));
  }
  EXPECT_EQ(0.5f, at(image, 3)[1]);
  // Red of BT.709: 63 + 0.2126 * 876, 512 - 0.1146 * 896 and 512 + 448.
  const FramePtr red = drawn(AV_PIX_FMT_YUV444P10, 1, 1, AVCHROMA_LOC_LEFT, [](int c, int, int) {
    return std::array{250, 409, 960}[static_cast<std::size_t>(c)];
  });
  const Pixel seen = at(FrameConverter(tags(AVCOL_SPC_BT709), {.deep = true}).convert(*red), 0);
  for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR((Pixel{1, 0, 0, 1})[c], seen[c], 0.001f);
}

// Every format whose samples are whole numbers comes back from deep pictures as it was.
TEST(DeepPictures, EveryLevelGoesThereAndBack) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUVA444P10, AV_PIX_FMT_GBRAP10, AV_PIX_FMT_GBRP12, AV_PIX_FMT_GBRAP16, AV_PIX_FMT_RGBA64BE,
        AV_PIX_FMT_RGBA64LE, AV_PIX_FMT_RGB48BE, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_RGBA, AV_PIX_FMT_BGRA}) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    const bool yuv = (d.flags & AV_PIX_FMT_FLAG_RGB) == 0;
    const int width = 512, height = 128, most = (1 << d.comp[0].depth) - 1;
    const FramePtr frame = drawn(format, width, height, AVCHROMA_LOC_LEFT, [&](int c, int x, int y) {
      if (d.log2_chroma_w > 0 && c > 0) return 700;  // flat, since it is averaged
      const int place = (y * width + x) ^ 5 * c;
      return yuv && c < 3 ? place % 1024 : static_cast<int>(std::int64_t{place} * most / (width * height));
    });
    FrameConverter converter(tags(yuv ? AVCOL_SPC_BT709 : AVCOL_SPC_RGB), {.deep = true});
    const FramePtr back = packed(converter.convert(*frame), format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
      const int bytes = av_image_get_linesize(format, width, plane);
      const int rows = plane == 0 || plane == 3 ? height : AV_CEIL_RSHIFT(height, d.log2_chroma_h);
      for (int y = 0; y < rows; ++y) {
        ASSERT_TRUE(std::equal(frame->data[plane] + y * frame->linesize[plane],
                               frame->data[plane] + y * frame->linesize[plane] + bytes,
                               back->data[plane] + y * back->linesize[plane]))
            << d.name << ", plane " << plane << ", row " << y;
      }
    }
  }
}

TEST(DeepPictures, LightGoesThereAndBackBelowBlackAndAboveWhite) {
  const std::vector<Pixel> light{
      {-0.5f, 0.0f, 0.18f, 1.0f}, {1.0f, 4.0f, 65504.0f, 0.5f}, {1e-6f, -1e-7f, 0.0031308f, 0}};
  FrameConverter converter(tags(AVCOL_SPC_RGB, AVCOL_TRC_IEC61966_2_1), {.deep = true});
  const Image image = converter.convert(*lightOf(light));
  // 1.055 * 0.18 ^ (1 / 2.4) - 0.055, and so on.
  EXPECT_NEAR(-0.735357, at(image, 0)[0], 1e-6);
  EXPECT_NEAR(0.461356, at(image, 0)[2], 1e-6);
  EXPECT_NEAR(1.824796, at(image, 1)[1], 1e-5);
  EXPECT_EQ(1.0f, at(image, 1)[0]);
  const FramePtr back = packed(image, AV_PIX_FMT_GBRAPF32, AVCOL_TRC_IEC61966_2_1, AlphaMode::Straight, false);
  for (int x = 0; x < 3; ++x) {
    for (std::size_t c = 0; c < 3; ++c) {
      const float wanted = light[static_cast<std::size_t>(x)][c];
      EXPECT_NEAR(wanted, sample<float>(back, std::array{2, 0, 1}[c], x), std::abs(wanted) * 1e-6f) << wanted;
    }
  }
}

TEST(DeepPictures, EveryHalfComesBackAsItself) {
  std::vector<Pixel> light;
  for (int exponent = -24; exponent < 16; ++exponent) {
    for (int step = 1024; step < (exponent < -14 ? 1025 : 2048); ++step) {
      const float value = std::ldexp(static_cast<float>(step), exponent - 10);
      light.push_back({value, -value, 1.0f, 1.0f});
    }
  }
  FrameConverter converter(tags(AVCOL_SPC_RGB), {.deep = true});
  const FramePtr back = packed(converter.convert(*lightOf(light)), AV_PIX_FMT_GBRAPF32, AVCOL_TRC_IEC61966_2_1);
  for (std::size_t x = 0; x < light.size(); ++x) {
    ASSERT_EQ(light[x][0], sample<float>(back, 2, static_cast<int>(x)));
    ASSERT_EQ(light[x][1], sample<float>(back, 0, static_cast<int>(x)));
  }
}

TEST(DeepReading, WhatIsNoLightIsReplacedAndCounted) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  FrameConverter converter(tags(AVCOL_SPC_RGB), {.deep = true, .levels = true});
  const Image image = converter.convert(*lightOf({{nan, kInfinity, -kInfinity, nan}, {nan, 7.0f, 0.0f, kInfinity}}));
  EXPECT_EQ((Pixel{0.0f, 65504.0f, -65504.0f, 0.0f}), at(image, 0));
  EXPECT_EQ((Pixel{0.0f, 7.0f, 0.0f, 1.0f}), at(image, 1));
  EXPECT_EQ("3 values are no numbers (NaN) and count as 0, 3 values are infinite and count as 65504",
            describe(converter.oddValues()));
  EXPECT_EQ("", describe(FrameConverter(tags(AVCOL_SPC_RGB)).oddValues()));
}

TEST(DeepReading, PremultipliedLightIsDividedBeforeItsCurve) {
  FrameConverter converter(tags(AVCOL_SPC_RGB), {.deep = true, .premultiplied = true});
  const Image image = converter.convert(*lightOf({{0.5f, 0.25f, 2.0f, 0.5f}, {1.0f, 0.0f, -1.0f, 0.0f}}));
  EXPECT_EQ(1.0f, at(image, 0)[0]);
  EXPECT_NEAR(0.735357, at(image, 0)[1], 1e-6) << "the curve of 0.25 / 0.5";
  EXPECT_NEAR(1.824796, at(image, 0)[2], 1e-5);
  EXPECT_EQ((Pixel{1.0f, 0.0f, -1.0f, 0.0f}), at(image, 1)) << "light that adds nothing but itself stays";
}

// By hand, from SMPTE ST 2084 and ITU-R BT.2100; greys agree with zscale's, whose 1 is 100 cd/m2, too.
TEST(DeepWriting, HdrBecomesTheLightOfTheDisplay) {
  const auto light = [](float code, AVColorTransferCharacteristic transfer) {
    return sample<float>(packed(rowOf({{code, code, code, 1}}), AV_PIX_FMT_GBRAPF32, transfer, AlphaMode::None, false),
                         0, 0);
  };
  EXPECT_NEAR(1.0, light(0.5080784f, AVCOL_TRC_SMPTE2084), 1e-5);
  EXPECT_NEAR(100.0, light(1.0f, AVCOL_TRC_SMPTE2084), 1e-4);
  EXPECT_EQ(0.0f, light(0.0f, AVCOL_TRC_SMPTE2084));
  EXPECT_NEAR(-1.0, light(-0.5080784f, AVCOL_TRC_SMPTE2084), 1e-5);
  EXPECT_EQ(65504.0f, light(3.0f, AVCOL_TRC_SMPTE2084));
  EXPECT_NEAR(10 * std::pow(1.0 / 12, 1.2), light(0.5f, AVCOL_TRC_ARIB_STD_B67), 1e-5);
  EXPECT_NEAR(2.031521, light(0.75f, AVCOL_TRC_ARIB_STD_B67), 2e-3);
  EXPECT_NEAR(10.0, light(1.0f, AVCOL_TRC_ARIB_STD_B67), 1e-4);
  EXPECT_NEAR(std::pow((0.5 + 0.099) / 1.099, 1 / 0.45), light(0.5f, AVCOL_TRC_BT709), 1e-6);
  EXPECT_THROW(light(0.5f, AVCOL_TRC_LOG), kalvetra::UserError);
}

TEST(DeepWriting, HalvesAreRoundedToTheEvenAndKeptFinite) {
  const std::vector<std::pair<float, float>> cases{{1.0f + 0x1p-11f, 1.0f},
                                                   {1.0f + 0x3p-11f, 1.0f + 0x1p-9f},
                                                   {1.0f + 0x1.002p-11f, 1.0f + 0x1p-10f},
                                                   {-70000.0f, -65504.0f},
                                                   {0x1.8p-25f, 0x1p-24f},
                                                   {0x1p-26f, 0.0f}};
  for (const auto& [value, half] : cases) {
    const FramePtr frame = packed(rowOf({{value, 0, 0, 0.5f}}), AV_PIX_FMT_GBRAPF32, AVCOL_TRC_LINEAR);
    EXPECT_EQ(half, sample<float>(frame, 2, 0)) << value;
  }
  const FramePtr multiplied =
      packed(rowOf({{4.0f, 0, 0, 0.5f}}), AV_PIX_FMT_GBRAPF32, AVCOL_TRC_LINEAR, AlphaMode::Premultiplied);
  EXPECT_EQ(2.0f, sample<float>(multiplied, 2, 0));
}

TEST(DeepWriting, WholeNumbersAreRoundedOnceAndKept) {
  const std::vector<Pixel> pixels{{-1.0f, 2.0f, 0.5f, 0.25f}};
  const FramePtr wide = packed(rowOf(pixels), AV_PIX_FMT_RGBA64LE);
  EXPECT_EQ((std::array<int, 4>{0, 65535, 32768, 16384}),
            (std::array<int, 4>{sample<std::uint16_t>(wide, 0, 0), sample<std::uint16_t>(wide, 0, 1),
                                sample<std::uint16_t>(wide, 0, 2), sample<std::uint16_t>(wide, 0, 3)}));
  const FramePtr multiplied = packed(rowOf(pixels), AV_PIX_FMT_GBRAP10, AVCOL_TRC_BT709, AlphaMode::Premultiplied);
  EXPECT_EQ(128, sample<std::uint16_t>(multiplied, 1, 0)) << "0.5 * 0.25 * 1023 = 127.9";
  EXPECT_EQ(512, sample<std::uint16_t>(multiplied, 0, 0)) << "2 * 0.25 * 1023 = 511.5";
  const FramePtr yuv = packed(rowOf({{2, 2, 2, 1}, {-1, -1, -1, 1}}), AV_PIX_FMT_YUV444P10);
  EXPECT_EQ(1023, sample<std::uint16_t>(yuv, 0, 0));
  EXPECT_EQ(0, sample<std::uint16_t>(yuv, 0, 1));
}

// A flat colour between two levels keeps its mean in 8 bits, and whole levels stay.
TEST(DeepPictures, AreNarrowedWithTheDithersMean) {
  for (const float level : {100.0f, 100.25f, 200.5f}) {
    Image image(8, 8, PixelFormat::RgbaF32);
    for (int i = 0; i < 64; ++i) {
      std::copy_n(Pixel{level / 255, level / 255, level / 255, level / 255}.begin(), 4, image.floats(0) + 4 * i);
    }
    double sum = 0;
    const Image bytes = kalvetra::narrowed(image, true);
    for (std::size_t i = 0; i < bytes.bytes.size(); i += 4) {
      sum += bytes.bytes[i + 1];
      EXPECT_EQ(std::lround(level), bytes.bytes[i]) << "alpha is rounded";
    }
    EXPECT_EQ(level, static_cast<float>(sum / 64));
  }
}

TEST(DeepPictures, AreTurnedHashedAndExtendedAsOthersAre) {
  Image image = rowOf({{0.0f, 1.0f, 2.0f, 1.0f}, {3.0f, 4.0f, 5.0f, 0.0f}});
  const Image upright = kalvetra::turned(image, 1);
  EXPECT_EQ((std::array{1, 2}), (std::array{upright.width, upright.height}));
  EXPECT_EQ(at(image, 1), at(upright, 0, 1));

  const auto before = hashPicture(image);
  image.floats(0)[0] = -0.0f;
  EXPECT_EQ(before, hashPicture(image));
  image.floats(0)[0] = 1e-30f;
  EXPECT_NE(before, hashPicture(image));

  const Image extended = kalvetra::withHiddenColorsExtended(image);
  EXPECT_EQ(at(image, 0), at(extended, 0)) << "what is seen stays as it is";
  EXPECT_LT(at(extended, 1)[0], 1.0f) << "what is hidden continues it";
  const std::pair<AVPixelFormat, std::size_t> kRows[]{// and the bytes of two samples of a plane
                                                      {AV_PIX_FMT_RGBA64LE, 16},
                                                      {AV_PIX_FMT_GBRAPF32, 8},
                                                      {AV_PIX_FMT_YUVA444P10, 4}};
  for (const auto& [format, bytes] : kRows) {
    const FramePacker packer(format, AVCOL_SPC_BT709, AlphaMode::Straight, AVCOL_TRC_BT709, {.deep = true});
    const FramePtr copied = packer.pack(extended), direct = packer.pack(image, false, true), kept = packer.pack(image);
    for (int plane = 0; plane < 4 && copied->data[plane] != nullptr; ++plane) {
      EXPECT_EQ(0, std::memcmp(copied->data[plane], direct->data[plane], bytes)) << plane << " of " << format;
    }
    EXPECT_NE(0, std::memcmp(kept->data[0], direct->data[0], bytes)) << format;
  }
}

// The same picture in 8 bits and deep, where both hold all of it.
TEST(DeepReading, RareFormatsAreWidened) {
  const FramePtr frame =
      drawn(AV_PIX_FMT_RGB8, 16, 16, AVCHROMA_LOC_UNSPECIFIED, [](int, int x, int y) { return x ^ y; });
  const Image bytes = FrameConverter(tags(AVCOL_SPC_RGB)).convert(*frame);
  EXPECT_EQ(bytes.bytes, narrowed(FrameConverter(tags(AVCOL_SPC_RGB), {.deep = true}).convert(*frame), false).bytes);
}

}  // namespace
