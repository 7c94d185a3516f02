// RGB in whole numbers and in floating point, and the pattern of the dither, against plain arithmetic.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>

#include "media/pixels/dither.h"
#include "media/pixels/float_rgb.h"
#include "media/pixels/frame_converter.h"
#include "tests/support/drawn_frame.h"

namespace {

using kalvetra::FrameConverter;
using kalvetra::Image;
using kalvetra::test::drawn;

const kalvetra::ColorTags kRgb{AVCOL_SPC_RGB, AVCOL_RANGE_JPEG, AVCOL_PRI_BT709, AVCOL_TRC_IEC61966_2_1};

TEST(RgbConversion, EveryDepthIsRoundedToTheNearest) {
  for (const AVPixelFormat format :
       {AV_PIX_FMT_GBRP9, AV_PIX_FMT_GBRP10, AV_PIX_FMT_GBRP12, AV_PIX_FMT_GBRP14, AV_PIX_FMT_GBRP16,
        AV_PIX_FMT_GBRAP10, AV_PIX_FMT_GBRAP12, AV_PIX_FMT_GBRAP16, AV_PIX_FMT_RGB48, AV_PIX_FMT_BGR48BE,
        AV_PIX_FMT_RGBA64, AV_PIX_FMT_RGBA64BE, AV_PIX_FMT_X2RGB10, AV_PIX_FMT_RGB565, AV_PIX_FMT_RGB444BE}) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    const int width = 256, height = 64;
    const auto largest = [&](int c) { return (1 << d.comp[c].depth) - 1; };
    const auto value = [&](int c, int x, int y) {
      return static_cast<int>((std::int64_t{y} * width + x) * largest(c) / (width * height - 1)) ^ (c == 3 ? 1 : 0);
    };
    const Image image = FrameConverter(kRgb).convert(*drawn(format, width, height, AVCHROMA_LOC_UNSPECIFIED, value));
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const unsigned char* pixel = image.row(y) + 4 * x;
        for (int c = 0; c < d.nb_components; ++c) {
          const double exact = 255.0 * value(c, x, y) / largest(c);
          ASSERT_LE(std::abs(exact - pixel[(c + 1) % 4]), 0.5)
              << d.name << ": component " << c << " at " << x << ", " << y;
        }
      }
    }
  }
}

TEST(FrameConversion, EveryFormatWithoutAlphaGivesOpaquePictures) {
  int formats = 0;
  for (const AVPixFmtDescriptor* d = nullptr; (d = av_pix_fmt_desc_next(d)) != nullptr;) {
    const AVPixelFormat format = av_pix_fmt_desc_get_id(d);
    if ((d->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL)) != 0 || !FrameConverter::canRead(format)) continue;
    const kalvetra::FramePtr frame = kalvetra::makePicture(format, 67, 9);
    for (const AVBufferRef* plane : frame->buf) {
      if (plane != nullptr) std::fill_n(plane->data, plane->size, std::uint8_t{3});
    }
    const kalvetra::ColorTags color{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};
    const Image image = FrameConverter(color).convert(*frame);
    for (std::size_t i = 0; i < image.bytes.size(); i += 4) ASSERT_EQ(255, image.bytes[i]) << d->name;
    ++formats;
  }
  EXPECT_GT(formats, 100);
}

TEST(RgbConversion, DitherKeepsTheMeanOfDeepColoursAndLeavesTheRest) {
  const auto flat = [](AVPixelFormat format, int value) {
    FrameConverter converter(kRgb, {.dither = true, .fields = false});
    return converter.convert(*drawn(format, 8, 8, AVCHROMA_LOC_UNSPECIFIED, [&](int, int, int) { return value; }));
  };
  for (int value = 0; value < 1024; ++value) {
    const Image image = flat(AV_PIX_FMT_GBRAP10, value);
    double sum = 0;
    for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
      sum += image.bytes[i + 1];
      EXPECT_EQ((value * 255 + 511) / 1023, image.bytes[i]) << "alpha is never dithered";
    }
    EXPECT_NEAR(value * 255.0 / 1023, sum / 64, 1.0 / 64) << value;
  }
  for (const int value : {0, 1, 127, 254, 255}) {
    for (const unsigned char b : flat(AV_PIX_FMT_RGBA, value).bytes) EXPECT_EQ(value, b);
  }
}

TEST(Dither, ThePatternHoldsEachStepOnceAndSpreadsNeighbours) {
  std::set<int> steps;
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      steps.insert(kalvetra::ditherStep(x, y));
      EXPECT_EQ(kalvetra::ditherStep(x, y), kalvetra::ditherStep(x + 8, y + 16));
      // Each square of 2 x 2 pixels has one step of every quarter.
      std::set<int> quarters;
      for (const int i : {0, 1, 2, 3}) quarters.insert(kalvetra::ditherStep(x + i % 2, y + i / 2) / 16);
      EXPECT_EQ(4u, quarters.size());
    }
  }
  EXPECT_EQ(64u, steps.size());
  EXPECT_EQ(0, *steps.begin());
  EXPECT_EQ(63, *steps.rbegin());
}

double exactSrgb(double light) {
  return 255.0 * (light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1 / 2.4) - 0.055);
}

TEST(FloatRgb, FollowsTheCurve) {
  for (int i = 0; i <= 200000; ++i) {
    const float light = static_cast<float>(i) / 200000.0f;
    ASSERT_NEAR(exactSrgb(light), kalvetra::srgbLevel(light), 0.001) << light;
  }
  EXPECT_EQ(0.0f, kalvetra::srgbLevel(-1.0f));
  EXPECT_EQ(0.0f, kalvetra::srgbLevel(std::numeric_limits<float>::quiet_NaN()));
  EXPECT_EQ(0.0f, kalvetra::srgbLevel(-std::numeric_limits<float>::infinity()));
  EXPECT_NEAR(255.0f, kalvetra::srgbLevel(std::numeric_limits<float>::infinity()), 1e-3);
}

kalvetra::FramePtr floatPicture(AVPixelFormat format, const std::array<float, 4>& gbra) {
  auto frame = kalvetra::makePicture(format, 8, 8);
  for (std::size_t plane = 0; plane < 4 && frame->data[plane] != nullptr; ++plane) {
    for (int y = 0; y < 8; ++y) {
      std::fill_n(reinterpret_cast<float*>(frame->data[plane] + y * frame->linesize[plane]), 8, gbra[plane]);
    }
  }
  return frame;
}

TEST(FloatRgb, LinearLightIsEncodedAndClampedAlphaIsNot) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    std::array<float, 4> gbra;
    std::array<int, 4> argb;
  } cases[] = {
      {{0.2140411f, 0.0f, 1.0f, 0.5f}, {128, 255, 128, 0}},  // the light of level 127.5
      {{9.0f, -3.0f, nan, 7.0f}, {255, 0, 255, 0}},
      {{0.001f, 0.01f, 0.1f, nan}, {0, 89, 3, 25}},
  };
  for (const auto& c : cases) {
    const Image image = FrameConverter(kRgb).convert(*floatPicture(AV_PIX_FMT_GBRAPF32, c.gbra));
    for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(c.argb[i], image.bytes[i], i == 2 ? 1 : 0) << i;
  }
  const Image grey = FrameConverter(kRgb).convert(*floatPicture(AV_PIX_FMT_GRAYF32, {0.05f, 0, 0, 0}));
  for (const std::size_t i : {1u, 2u, 3u}) EXPECT_EQ(63, grey.bytes[i]);
  EXPECT_EQ(255, grey.bytes[0]);
  const auto coded = floatPicture(AV_PIX_FMT_GBRPF32, {0.5f, 0.25f, 0.75f, 0});
  coded->color_trc = AVCOL_TRC_BT709;
  const Image kept = FrameConverter(kRgb).convert(*coded);
  EXPECT_EQ((std::array<int, 3>{191, 128, 64}), (std::array<int, 3>{kept.bytes[1], kept.bytes[2], kept.bytes[3]}));
}

// A matte: its half light is level 128, whatever the file says of a curve.
TEST(FloatRgb, LevelsStayLevels) {
  for (const AVColorTransferCharacteristic transfer : {AVCOL_TRC_LINEAR, AVCOL_TRC_UNSPECIFIED, AVCOL_TRC_BT709}) {
    const auto picture = floatPicture(AV_PIX_FMT_GBRAPF32, {0.5f, 0.25f, 0.75f, 0.125f});
    picture->color_trc = transfer;
    const Image image = FrameConverter(kRgb, {.levels = true}).convert(*picture);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ((std::array<int, 4>{32, 191, 128, 64})[i], image.bytes[i]) << i;
  }
}

}  // namespace
