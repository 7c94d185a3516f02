// Pictures into the planes that encoders take: opaque, straight, premultiplied, in light, field by field.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "media/pixels/frame_converter.h"
#include "media/pixels/frame_packer.h"
#include "sample/test_images.h"
#include "support/user_error.h"

namespace {

using kalvetra::AlphaMode;
using kalvetra::FramePacker;
using kalvetra::FramePtr;
using kalvetra::Image;
using kalvetra::UserError;

using Pixel = std::array<unsigned char, 4>;  // host order

Image rowOf(const std::vector<Pixel>& pixels) {
  Image image(static_cast<int>(pixels.size()), 1);
  std::memcpy(image.bytes.data(), pixels.data(), image.bytes.size());
  return image;
}

Image rowsOf(const std::vector<Pixel>& rows, int width) {
  Image image(width, static_cast<int>(rows.size()));
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < width; ++x) std::copy_n(rows[static_cast<std::size_t>(y)].begin(), 4, image.row(y) + 4 * x);
  }
  return image;
}

template <class Sample>
Sample at(const FramePtr& frame, int plane, int x, int y) {
  return reinterpret_cast<const Sample*>(frame->data[plane] + std::ptrdiff_t{y} * frame->linesize[plane])[x];
}

FramePtr packed(const Image& image, AVPixelFormat format, AlphaMode alpha, bool fields = false) {
  return FramePacker(format, AVCOL_SPC_BT709, alpha).pack(image, fields);
}

TEST(AlphaModes, PremultipliedIsTheRoundedProduct) {
  for (int alpha = 0; alpha < 256; ++alpha) {
    Image ramp(256, 1);
    for (int c = 0; c < 256; ++c) {
      const auto level = static_cast<unsigned char>(c);
      std::copy_n(Pixel{static_cast<unsigned char>(alpha), level, level, level}.begin(), 4, ramp.row(0) + 4 * c);
    }
    const FramePtr frame = packed(ramp, AV_PIX_FMT_ARGB, AlphaMode::Premultiplied);
    for (int c = 0; c < 256; ++c) {
      ASSERT_EQ(std::lround(c * alpha / 255.0), at<std::uint8_t>(frame, 0, 4 * c + 1, 0)) << c << " times " << alpha;
      ASSERT_EQ(alpha, at<std::uint8_t>(frame, 0, 4 * c, 0));
    }
  }
}

TEST(AlphaModes, ComponentsGoToTheirPlaces) {
  const Image image = rowOf({{128, 200, 100, 50}});
  const auto bytes = [&](AVPixelFormat format, AlphaMode alpha, int count) {
    const FramePtr frame = packed(image, format, alpha);
    return std::vector<int>(frame->data[0], frame->data[0] + count);
  };
  using Bytes = std::vector<int>;
  EXPECT_EQ((Bytes{128, 200, 100, 50}), bytes(AV_PIX_FMT_ARGB, AlphaMode::Straight, 4));
  EXPECT_EQ((Bytes{128, 100, 50, 25}), bytes(AV_PIX_FMT_ARGB, AlphaMode::Premultiplied, 4));
  EXPECT_EQ((Bytes{255, 200, 100, 50}), bytes(AV_PIX_FMT_ARGB, AlphaMode::None, 4));
  EXPECT_EQ((Bytes{50, 100, 200, 128}), bytes(AV_PIX_FMT_BGRA, AlphaMode::Straight, 4));
  EXPECT_EQ((Bytes{25, 50, 100, 128}), bytes(AV_PIX_FMT_BGRA, AlphaMode::Premultiplied, 4));
  EXPECT_EQ((Bytes{50, 100, 200}), bytes(AV_PIX_FMT_BGR0, AlphaMode::None, 3));
  EXPECT_EQ((Bytes{200, 100, 50}), bytes(AV_PIX_FMT_RGB24, AlphaMode::None, 3));
  // 200 * 257 = 51400 = 0xc8c8
  EXPECT_EQ((Bytes{200, 200, 100, 100, 50, 50, 128, 128}), bytes(AV_PIX_FMT_RGBA64BE, AlphaMode::Straight, 8));
  EXPECT_EQ((Bytes{200, 200, 100, 100, 50, 50}), bytes(AV_PIX_FMT_RGB48BE, AlphaMode::None, 6));
}

// What a compositor makes of both over black must be the same.
TEST(AlphaModes, PremultipliedOverBlackIsStraightOverBlack) {
  Image image(64, 8);
  image.bytes = kalvetra::test::noise(64 * 8 * 4, 5);
  const FramePtr straight = packed(image, AV_PIX_FMT_ARGB, AlphaMode::Straight);
  const FramePtr multiplied = packed(image, AV_PIX_FMT_ARGB, AlphaMode::Premultiplied);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 256; ++x) {
      const int alpha = at<std::uint8_t>(straight, 0, x / 4 * 4, y), value = at<std::uint8_t>(straight, 0, x, y);
      const int over = x % 4 == 0 ? alpha : (value * alpha + 127) / 255;
      ASSERT_EQ(over, at<std::uint8_t>(multiplied, 0, x, y));
    }
  }
}

// Within the half float's precision. By hand: ((128 / 255 + 0.099) / 1.099) ^ (1 / 0.45), 10 / 255 / 4.5, ((128 / 255 +
// 0.055) / 1.055) ^ 2.4.
TEST(LinearLight, KnownValues) {
  const Image image = rowOf({{255, 255, 128, 10}, {51, 0, 128, 255}});
  const auto pack = [&](AlphaMode alpha, AVColorTransferCharacteristic transfer) {
    return FramePacker(AV_PIX_FMT_GBRAPF32, AVCOL_SPC_RGB, alpha, transfer).pack(image);
  };
  const FramePtr bt709 = pack(AlphaMode::Premultiplied, AVCOL_TRC_BT709);
  EXPECT_FLOAT_EQ(1.0f, at<float>(bt709, 2, 0, 0));
  EXPECT_NEAR(0.26148, at<float>(bt709, 0, 0, 0), 0.26148 / 2048);
  EXPECT_NEAR(0.0087146, at<float>(bt709, 1, 0, 0), 0.0087146 / 2048);
  EXPECT_FLOAT_EQ(1.0f, at<float>(bt709, 3, 0, 0));
  EXPECT_NEAR(0.26148 / 5, at<float>(bt709, 0, 1, 0), 0.0523 / 2048) << "light first, then times alpha";
  EXPECT_FLOAT_EQ(0.0f, at<float>(bt709, 2, 1, 0));
  EXPECT_NEAR(0.2, at<float>(bt709, 3, 1, 0), 0.2 / 2048);
  EXPECT_NEAR(0.21586, at<float>(pack(AlphaMode::Straight, AVCOL_TRC_IEC61966_2_1), 0, 1, 0), 0.2159 / 2048);
  const FramePtr levels = pack(AlphaMode::None, AVCOL_TRC_LINEAR);
  EXPECT_NEAR(128 / 255.0, at<float>(levels, 0, 1, 0), 0.502 / 2048);
  EXPECT_FLOAT_EQ(1.0f, at<float>(levels, 3, 1, 0));
}

TEST(LinearLight, OtherTransfersAreRefused) {
  try {
    FramePacker(AV_PIX_FMT_GBRAPF32, AVCOL_SPC_RGB, AlphaMode::Premultiplied, AVCOL_TRC_SMPTE2084);
    ADD_FAILURE() << "an HDR transfer was taken for another";
  } catch (const UserError& error) {
    EXPECT_STREQ(
        "OpenEXR holds linear light, and pictures whose transfer is 'smpte2084' cannot be turned into it in 8 bits, "
        "only "
        "with --depth deep; .png, .mov and .mkv keep the code values, or convert the clip to BT.709 first",
        error.what());
  }
  EXPECT_NO_THROW(FramePacker(AV_PIX_FMT_BGRA, AVCOL_SPC_RGB, AlphaMode::Straight, AVCOL_TRC_SMPTE2084));
}

constexpr Pixel kRed{255, 255, 0, 0}, kBlue{255, 0, 0, 255};
using Chroma = std::pair<int, int>;
constexpr Chroma kRedChroma{102, 240}, kBlueChroma{240, 118};  // 8-bit BT.709 codes of Cb and Cr

TEST(Fields, ChromaStaysInItsField) {
  const auto chroma = [](const Image& image, bool fields, int row) {
    const FramePtr frame = packed(image, AV_PIX_FMT_YUV420P, AlphaMode::None, fields);
    return Chroma(at<std::uint8_t>(frame, 1, 1, row), at<std::uint8_t>(frame, 2, 1, row));
  };
  for (const int height : {4, 5, 6, 7, 8}) {  // the last rows of either field repeat
    std::vector<Pixel> rows;
    for (int y = 0; y < height; ++y) rows.push_back(y % 2 == 0 ? kRed : kBlue);
    const Image image = rowsOf(rows, 6);
    for (int row = 0; row < (height + 1) / 2; ++row) {
      EXPECT_EQ(row % 2 == 0 ? kRedChroma : kBlueChroma, chroma(image, true, row)) << height << ", row " << row;
    }
    EXPECT_EQ((Chroma{171, 179}), chroma(image, false, 0)) << "the mean of both";
  }
  EXPECT_EQ(kRedChroma, chroma(rowsOf({kRed, kBlue}, 6), true, 0));
  EXPECT_EQ(kRedChroma, chroma(rowsOf({kRed}, 6), true, 0));
  // Rows 0 and 2 of the upper field are averaged, not 0 and 1.
  EXPECT_EQ((Chroma{171, 179}), chroma(rowsOf({kRed, kRed, kBlue, kRed}, 6), true, 0));
}

TEST(Fields, PremultipliedChromaIsAPlainMean) {
  const Image image = rowsOf({kRed, {0, 0, 255, 0}}, 4);
  const auto cr = [&](AlphaMode alpha) { return at<std::uint8_t>(packed(image, AV_PIX_FMT_YUVA420P, alpha), 2, 1, 0); };
  EXPECT_EQ(240, cr(AlphaMode::Straight)) << "the clear pixel's colour must not count";
  EXPECT_EQ(184, cr(AlphaMode::Premultiplied)) << "half of red's 112 above neutral";
}

TEST(TenBits, AlphaIsRoundedToTheNearest) {
  Image ramp(256, 1);
  for (std::size_t i = 0; i < ramp.bytes.size(); ++i) ramp.bytes[i] = static_cast<unsigned char>(i / 4);
  const FramePtr frame = packed(ramp, AV_PIX_FMT_YUVA444P10, AlphaMode::Straight);
  for (int a = 0; a < 256; ++a) EXPECT_EQ(std::lround(a * 1023 / 255.0), at<std::uint16_t>(frame, 3, a, 0)) << a;
}

TEST(TenBits, EveryGreyLevelOfAMatteSurvives) {
  Image ramp(256, 2);
  for (std::size_t i = 0; i < ramp.bytes.size(); ++i) ramp.bytes[i] = static_cast<unsigned char>(i / 4 % 256);
  const FramePtr frame = packed(ramp, AV_PIX_FMT_YUV420P10, AlphaMode::None);
  EXPECT_EQ(64, at<std::uint16_t>(frame, 0, 0, 0));
  EXPECT_EQ(940, at<std::uint16_t>(frame, 0, 255, 1));
  EXPECT_EQ(512, at<std::uint16_t>(frame, 1, 9, 0));
  kalvetra::FrameConverter converter({AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
  const Image back = converter.convert(*frame);
  for (std::size_t i = 0; i < 256; ++i) EXPECT_EQ(i, back.bytes[i * 4 + 2]);
}

}  // namespace
