// The YUV converter against the formulas of its standards, worked out in floating point.
#include "media/yuv_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "imaging/cpu_level.h"
#include "tests/support/test_images.h"

namespace {

using kalvetra::Image;

// Patches of colour with hard edges, and noise between them; every value that the depth allows occurs.
kalvetra::FramePtr testPicture(AVPixelFormat format, int width, int height, AVChromaLocation location) {
  kalvetra::FramePtr frame = kalvetra::makePicture(format, width, height);
  frame->chroma_location = location;
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
  const int largest = (1 << d.comp[0].depth) - 1;
  kalvetra::test::Random random(7);
  for (int plane = 0; plane < d.nb_components; ++plane) {
    const bool chroma = plane == 1 || plane == 2;
    const int columns = chroma ? AV_CEIL_RSHIFT(width, d.log2_chroma_w) : width;
    const int rows = chroma ? AV_CEIL_RSHIFT(height, d.log2_chroma_h) : height;
    for (int y = 0; y < rows; ++y) {
      std::uint8_t* row = frame->data[plane] + std::ptrdiff_t{y} * frame->linesize[plane];
      for (int x = 0; x < columns; ++x) {
        const bool patch = (x / 5 + y / 3) % 2 == 0;
        const int value = patch ? ((x / 10 + plane) % 2 == 0 ? largest : 0) : random.within(0, largest);
        if (largest > 255) {
          reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(value);
        } else {
          row[x] = static_cast<std::uint8_t>(value);
        }
      }
    }
  }
  return frame;
}

struct Reference {
  const AVFrame& frame;
  const AVPixFmtDescriptor& d;
  double red, blue;  // luma weights
  bool fullRange;

  double sample(int plane, int x, int y) const {
    const std::uint8_t* row = frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
    return d.comp[0].depth > 8 ? reinterpret_cast<const std::uint16_t*>(row)[x] : row[x];
  }

  // Chroma sample i lies at luma place 2 i + first.
  double chroma(int plane, int x, int y) const {
    const AVChromaLocation l = frame.chroma_location;
    const bool centredColumns = l == AVCHROMA_LOC_CENTER || l == AVCHROMA_LOC_TOP || l == AVCHROMA_LOC_BOTTOM;
    const bool top = l == AVCHROMA_LOC_TOP || l == AVCHROMA_LOC_TOPLEFT;
    const bool bottom = l == AVCHROMA_LOC_BOTTOM || l == AVCHROMA_LOC_BOTTOMLEFT;
    const auto place = [](int at, int log2, double first) { return log2 == 0 ? at : (at - first) / 2; };
    const double column = place(x, d.log2_chroma_w, centredColumns ? 0.5 : 0.0);
    const double row = place(y, d.log2_chroma_h, top ? 0.0 : bottom ? 1.0 : 0.5);
    const int columns = AV_CEIL_RSHIFT(frame.width, d.log2_chroma_w);
    const int rows = AV_CEIL_RSHIFT(frame.height, d.log2_chroma_h);
    double sum = 0;
    for (const int i : {0, 1}) {
      for (const int j : {0, 1}) {
        const int left = static_cast<int>(std::floor(column)) + i, upper = static_cast<int>(std::floor(row)) + j;
        const double weight = (1 - std::abs(column - left)) * (1 - std::abs(row - upper));
        sum += weight * sample(plane, std::clamp(left, 0, columns - 1), std::clamp(upper, 0, rows - 1));
      }
    }
    return sum;
  }

  // Red, green and blue, 0..255, not rounded.
  std::array<double, 3> color(int x, int y) const {
    const double unit = std::pow(2.0, d.comp[0].depth - 8), most = std::pow(2.0, d.comp[0].depth) - 1;
    const double luma = fullRange ? sample(0, x, y) / most : (sample(0, x, y) - 16 * unit) / (219 * unit);
    const double span = fullRange ? most : 224 * unit;
    const double pb = (chroma(1, x, y) - 128 * unit) / span, pr = (chroma(2, x, y) - 128 * unit) / span;
    const double r = luma + 2 * (1 - red) * pr, b = luma + 2 * (1 - blue) * pb;
    const double g = (luma - red * r - blue * b) / (1 - red - blue);
    return {std::clamp(255 * r, 0.0, 255.0), std::clamp(255 * g, 0.0, 255.0), std::clamp(255 * b, 0.0, 255.0)};
  }
};

// The picture as every CPU level must give it, byte for byte.
Image converted(const AVFrame& frame, const kalvetra::ColorTags& tags) {
  Image first;
  for (const kalvetra::CpuLevel level : kalvetra::cpuLevels()) {
    kalvetra::setCpuLevel(level);
    Image image;
    kalvetra::YuvConverter().convert(frame, tags, image);
    if (first.width == 0) first = image;
    EXPECT_EQ(first.argb, image.argb) << kalvetra::cpuLevelName(level);
  }
  return first;
}

// In levels, over the picture.
double largestError(const Reference& reference, const kalvetra::ColorTags& tags) {
  const Image image = converted(reference.frame, tags);
  double largest = 0;
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const unsigned char* pixel = image.row(y) + std::ptrdiff_t{4} * x;
      EXPECT_EQ(255, pixel[0]);
      const std::array<double, 3> exact = reference.color(x, y);
      for (std::size_t c = 0; c < 3; ++c) largest = std::max(largest, std::abs(exact[c] - pixel[c + 1]));
    }
  }
  return largest;
}

// Half a level is the rounding itself.
constexpr double kBound = 0.53;

TEST(YuvConverter, EveryFormatMatrixAndRange) {
  const struct {
    AVColorSpace matrix;
    double red, blue;
  } matrices[] = {{AVCOL_SPC_BT709, 0.2126, 0.0722},
                  {AVCOL_SPC_SMPTE170M, 0.299, 0.114},
                  {AVCOL_SPC_SMPTE240M, 0.212, 0.087},
                  {AVCOL_SPC_FCC, 0.30, 0.11},
                  {AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593}};
  for (const AVPixelFormat format :
       {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUVJ420P, AV_PIX_FMT_YUVA420P, AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV440P,
        AV_PIX_FMT_YUV444P, AV_PIX_FMT_YUV420P9, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUVA444P10}) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    ASSERT_TRUE(kalvetra::YuvConverter::handles(d)) << d.name;
    const auto frame = testPicture(format, 77, 19, AVCHROMA_LOC_UNSPECIFIED);
    for (const auto& m : matrices) {
      for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
        const Reference reference{*frame, d, m.red, m.blue, range == AVCOL_RANGE_JPEG};
        EXPECT_LT(largestError(reference, {m.matrix, range, AVCOL_PRI_BT709, AVCOL_TRC_BT709}), kBound)
            << d.name << ", " << av_color_space_name(m.matrix) << ", range " << range;
      }
    }
  }
}

TEST(YuvConverter, EveryPlaceOfChromaAndSmallSizes) {
  const kalvetra::ColorTags tags{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUV440P}) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    for (int location = AVCHROMA_LOC_UNSPECIFIED; location < AVCHROMA_LOC_NB; ++location) {
      for (const int width : {1, 2, 3, 15, 16, 17, 64}) {
        for (const int height : {1, 2, 5}) {
          const auto frame = testPicture(format, width, height, static_cast<AVChromaLocation>(location));
          EXPECT_LT(largestError({*frame, d, 0.2126, 0.0722, false}, tags), kBound)
              << d.name << ", location " << location << ", " << width << " x " << height;
        }
      }
    }
  }
}

// A damaged file can hold samples of more bits than its format has.
TEST(YuvConverter, SamplesOutOfRangeGiveTheSameBytesEverywhere) {
  const kalvetra::ColorTags tags{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};
  const auto frame = testPicture(AV_PIX_FMT_YUV420P10, 77, 19, AVCHROMA_LOC_LEFT);
  kalvetra::test::Random random(5);
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < (plane == 0 ? 19 : 10); ++y) {
      for (int i = 0; i < frame->linesize[plane]; ++i) {
        frame->data[plane][y * frame->linesize[plane] + i] = static_cast<std::uint8_t>(random.within(0, 255));
      }
    }
  }
  converted(*frame, tags);
}

TEST(YuvConverter, LeavesTheRestToOthers) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUV420P12, AV_PIX_FMT_NV12, AV_PIX_FMT_YUYV422,
                                     AV_PIX_FMT_GRAY8, AV_PIX_FMT_GBRP, AV_PIX_FMT_P010, AV_PIX_FMT_PAL8}) {
    EXPECT_FALSE(kalvetra::YuvConverter::handles(*av_pix_fmt_desc_get(format))) << av_get_pix_fmt_name(format);
  }
  const bool little = AV_PIX_FMT_YUV420P10 == AV_PIX_FMT_YUV420P10LE;
  const AVPixelFormat foreign = little ? AV_PIX_FMT_YUV420P10BE : AV_PIX_FMT_YUV420P10LE;
  EXPECT_FALSE(kalvetra::YuvConverter::handles(*av_pix_fmt_desc_get(foreign)));
}

}  // namespace
