// The YUV converter against the formulas of its standards, worked out in floating point.
#include "media/pixels/yuv_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "sample/test_images.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/drawn_frame.h"

namespace {

using kalvetra::ConversionOptions;
using kalvetra::Image;
using kalvetra::test::columnsOf;
using kalvetra::test::drawn;
using kalvetra::test::rowsOf;

// Patches of colour with hard edges, and noise between them; every value that the depth allows occurs.
kalvetra::FramePtr testPicture(AVPixelFormat format, int width, int height, AVChromaLocation location) {
  const int largest = (1 << av_pix_fmt_desc_get(format)->comp[0].depth) - 1;
  kalvetra::test::Random random(7);
  return drawn(format, width, height, location, [&](int component, int x, int y) {
    const bool patch = (x / 5 + y / 3) % 2 == 0;
    return patch ? ((x / 10 + component) % 2 == 0 ? largest : 0) : random.within(0, largest);
  });
}

struct Reference {
  const AVFrame& frame;
  const AVPixFmtDescriptor& d;
  double red, blue;  // luma weights
  bool fullRange;
  bool fields = false;

  double sample(int component, int x, int y) const {
    const std::uint8_t* data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    std::uint16_t value = 0;
    av_read_image_line2(&value, data, frame.linesize, &d, x, y, component, 1, 0, 2);
    return value;
  }

  // In luma columns of the frame.
  double chromaColumn(int i) const {
    const AVChromaLocation l = frame.chroma_location;
    const bool centred = l == AVCHROMA_LOC_CENTER || l == AVCHROMA_LOC_TOP || l == AVCHROMA_LOC_BOTTOM;
    const int step = 1 << d.log2_chroma_w;
    return step * i + (centred ? (step - 1) / 2.0 : 0.0);
  }

  // In luma rows of the frame. Rows of a field lie two apart.
  double chromaRow(int i) const {
    const AVChromaLocation l = frame.chroma_location;
    const bool top = l == AVCHROMA_LOC_TOP || l == AVCHROMA_LOC_TOPLEFT;
    const bool bottom = l == AVCHROMA_LOC_BOTTOM || l == AVCHROMA_LOC_BOTTOMLEFT;
    const int step = 1 << d.log2_chroma_h;
    if (!fields || step == 1) return step * i + (top ? 0.0 : bottom ? step - 1.0 : (step - 1) / 2.0);
    const int field = i % 2, rowInField = i / 2;
    const double ofTopField = top ? 0.0 : bottom ? 2.0 : 0.5, ofBottomField = top ? 1.0 : bottom ? 3.0 : 2.5;
    return 4 * rowInField + (field == 0 ? ofTopField : ofBottomField);  // for 4:2:0
  }

  // The two samples around `at`, and how much the second one counts. `place` gives where a sample lies.
  struct Between {
    int first, second;
    double weight;
  };
  template <class Place>
  static Between around(double at, int begin, int count, int step, Place place) {
    int last = begin;
    while (last + step < count) last += step;
    if (at <= place(begin)) return {begin, begin, 0.0};
    if (at >= place(last)) return {last, last, 0.0};
    int first = begin;
    while (place(first + step) <= at) first += step;
    return {first, first + step, (at - place(first)) / (place(first + step) - place(first))};
  }

  double chroma(int component, int x, int y) const {
    if (d.nb_components < 3) return std::pow(2.0, d.comp[0].depth - 1);
    const int rows = rowsOf(frame, d, component);
    const bool apart = fields && rows > 1 && d.log2_chroma_h > 0;
    const Between row = around(y, apart ? y % 2 : 0, rows, apart ? 2 : 1, [&](int i) { return chromaRow(i); });
    const Between column = around(x, 0, columnsOf(frame, d, component), 1, [&](int i) { return chromaColumn(i); });
    const auto across = [&](int at) {
      return (1 - column.weight) * sample(component, column.first, at) +
             column.weight * sample(component, column.second, at);
    };
    return (1 - row.weight) * across(row.first) + row.weight * across(row.second);
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
Image converted(const AVFrame& frame, const kalvetra::ColorTags& tags, const ConversionOptions& options = {}) {
  Image first;
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    Image image;
    kalvetra::YuvConverter().convert(frame, tags, options, image);
    if (first.width == 0) first = image;
    EXPECT_EQ(first.bytes, image.bytes) << kalvetra::cpuLevelName(level);
  });
  return first;
}

// In levels, over the picture.
double largestError(const Reference& reference, const kalvetra::ColorTags& tags) {
  const Image image = converted(reference.frame, tags, {.dither = false, .fields = reference.fields});
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
constexpr double kBound = 0.53, kDeepBound = 0.5005;

const kalvetra::ColorTags kBt709{AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709};

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
  const kalvetra::ColorTags tags = kBt709;
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
  const kalvetra::ColorTags tags = kBt709;
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

TEST(YuvConverter, DeepPackedAndHalfPlanarFormats) {
  const AVPixelFormat formats[] = {
      AV_PIX_FMT_YUV420P12, AV_PIX_FMT_YUV422P12, AV_PIX_FMT_YUV444P12,  AV_PIX_FMT_YUVA444P12,  AV_PIX_FMT_YUV440P12,
      AV_PIX_FMT_YUV422P14, AV_PIX_FMT_YUV420P16, AV_PIX_FMT_YUVA444P16, AV_PIX_FMT_YUV422P16BE, AV_PIX_FMT_NV12,
      AV_PIX_FMT_NV21,      AV_PIX_FMT_NV16,      AV_PIX_FMT_NV24,       AV_PIX_FMT_P010,        AV_PIX_FMT_P016,
      AV_PIX_FMT_P210,      AV_PIX_FMT_P410,      AV_PIX_FMT_P010BE,     AV_PIX_FMT_YUV420P10BE, AV_PIX_FMT_YUYV422,
      AV_PIX_FMT_UYVY422,   AV_PIX_FMT_YVYU422,   AV_PIX_FMT_Y210,       AV_PIX_FMT_AYUV64,      AV_PIX_FMT_YUV411P,
      AV_PIX_FMT_YUV410P,   AV_PIX_FMT_GRAY8,     AV_PIX_FMT_GRAY10,     AV_PIX_FMT_GRAY16,      AV_PIX_FMT_GRAY12BE,
      AV_PIX_FMT_YA8,       AV_PIX_FMT_YA16,      AV_PIX_FMT_NV20};
  for (const AVPixelFormat format : formats) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    ASSERT_TRUE(kalvetra::YuvConverter::handles(d)) << d.name;
    for (const int width : {1, 7, 76}) {
      if (width % 2 != 0 && d.nb_components >= 3 && d.comp[0].plane == d.comp[1].plane && d.log2_chroma_w > 0) continue;
      const auto frame = testPicture(format, width, 11, AVCHROMA_LOC_UNSPECIFIED);
      for (const AVColorRange range : {AVCOL_RANGE_MPEG, AVCOL_RANGE_JPEG}) {
        const Reference reference{*frame, d, 0.2126, 0.0722, range == AVCOL_RANGE_JPEG};
        const double bound = d.comp[0].depth > 10 ? kDeepBound : kBound;
        EXPECT_LT(largestError(reference, {AVCOL_SPC_BT709, range, AVCOL_PRI_BT709, AVCOL_TRC_BT709}), bound)
            << d.name << ", width " << width << ", range " << range;
      }
    }
  }
}

TEST(YuvConverter, ChromaOfFieldsStaysInItsField) {
  for (const AVPixelFormat format : {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P}) {
    const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
    for (int location = AVCHROMA_LOC_UNSPECIFIED; location < AVCHROMA_LOC_NB; ++location) {
      for (const int height : {1, 2, 3, 4, 7, 24}) {
        const auto frame = testPicture(format, 18, height, static_cast<AVChromaLocation>(location));
        EXPECT_LT(largestError({*frame, d, 0.2126, 0.0722, false, true}, kBt709), kBound)
            << d.name << ", location " << location << ", height " << height;
      }
    }
  }
  // One field red, the other blue, as far apart as fields of a fast motion can be: no colour in between appears.
  const auto frame = drawn(AV_PIX_FMT_YUV420P, 16, 16, AVCHROMA_LOC_LEFT, [](int component, int, int y) {
    const bool lower = y % 2 != 0;
    return component == 0 ? (lower ? 32 : 63) : component == 1 ? (lower ? 240 : 102) : (lower ? 118 : 240);
  });
  const Image image = converted(*frame, kBt709, {.dither = false, .fields = true});
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      const unsigned char* pixel = image.row(y) + 4 * x;
      EXPECT_NEAR(y % 2 == 0 ? 255 : 0, pixel[1], 2) << x << ", " << y;
      EXPECT_NEAR(0, pixel[2], 2);
      EXPECT_NEAR(y % 2 == 0 ? 0 : 255, pixel[3], 2);
    }
  }
}

// Means over one pattern of a flat picture, for every grey that 10 bits can hold and some colours.
TEST(YuvConverter, DitherKeepsTheMean) {
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(AV_PIX_FMT_YUV444P10);
  for (int luma = 0; luma < 1024; ++luma) {
    const int chroma = luma % 3 == 0 ? 512 : 400 + luma % 200;
    const auto frame = drawn(AV_PIX_FMT_YUV444P10, 8, 8, AVCHROMA_LOC_LEFT,
                             [&](int component, int, int) { return component == 0 ? luma : chroma; });
    const Image image = converted(*frame, kBt709, {.dither = true, .fields = false});
    const std::array<double, 3> exact = Reference{*frame, d, 0.2126, 0.0722, false}.color(0, 0);
    for (std::size_t c = 0; c < 3; ++c) {
      double sum = 0;
      for (std::size_t i = c + 1; i < image.bytes.size(); i += 4) {
        sum += image.bytes[i];
        EXPECT_LT(std::abs(image.bytes[i] - exact[c]), 1.0);
      }
      EXPECT_NEAR(exact[c], sum / 64, 1.0 / 64) << "luma " << luma << ", component " << c;
    }
  }
}

TEST(YuvConverter, DitherLeavesEightBitsAlone) {
  const auto frame = testPicture(AV_PIX_FMT_YUV420P, 33, 9, AVCHROMA_LOC_LEFT);
  EXPECT_EQ(converted(*frame, kBt709).bytes, converted(*frame, kBt709, {.dither = true, .fields = false}).bytes);
}

TEST(YuvConverter, DoesNotHandleOtherFormats) {
  for (const AVPixelFormat format : {AV_PIX_FMT_UYYVYY411, AV_PIX_FMT_MONOBLACK, AV_PIX_FMT_GRAYF32, AV_PIX_FMT_GBRP,
                                     AV_PIX_FMT_XYZ12, AV_PIX_FMT_PAL8, AV_PIX_FMT_RGB24, AV_PIX_FMT_VAAPI}) {
    EXPECT_FALSE(kalvetra::YuvConverter::handles(*av_pix_fmt_desc_get(format))) << av_get_pix_fmt_name(format);
  }
}

}  // namespace
