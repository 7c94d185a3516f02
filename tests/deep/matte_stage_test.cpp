// Stages that look at neighbours: box averages, deblocking, contraction and edge blur.
#include "deep/matte_stage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "deep/deblocked_rows.h"
#include "imaging/CImagingZEP.h"
#include "sample/test_images.h"
#include "tests/support/cpu_levels.h"

using namespace kalvetra;

namespace {

using test::Bytes;

struct Size {
  int width, height;
};

// The mean over what of the window lies in the picture.
template <class At>
double boxMean(Size size, int x, int y, int radius, const At& at) {
  double sum = 0, count = 0;
  for (int v = std::max(y - radius, 0); v <= std::min(y + radius, size.height - 1); ++v) {
    for (int u = std::max(x - radius, 0); u <= std::min(x + radius, size.width - 1); ++u, ++count) sum += at(u, v);
  }
  return sum / count;
}

TEST(DeepBoxAverages, AreThoseOfADirectSum) {
  test::Random random(7);
  for (const Size size : {Size{37, 29}, {1, 1}, {1, 40}, {300, 2}}) {
    deep::RowBuffer rows(size.width, size.height + 1);
    for (int y = 0; y < size.height; ++y) {
      for (int x = 0; x < size.width; ++x) rows.row(y).red[x] = static_cast<float>(random.within(0, 255000)) / 1000;
    }
    for (const int radius : {0, 1, 2, 7, 100}) {
      for (const int first : {0, size.height / 2}) {
        deep::BoxAverages box(size.width, size.height, radius, 256);
        float* const result = rows.row(size.height).red;
        for (int y = first; y < size.height; ++y) {
          box.average(
              y, [&](int i) { return rows.row(i).red; }, result);
          for (int x = 0; x < size.width; ++x) {
            const double mean = boxMean(size, x, y, radius, [&](int u, int v) { return rows.row(v).red[u]; });
            ASSERT_NEAR(result[x], mean, 3e-4) << size.width << ' ' << radius << ' ' << x << ' ' << y;
          }
        }
      }
    }
  }
}

// Floats of red, green and blue.
std::vector<float> deblocked(const ConstFrame& frame, int radius, int bands) {
  std::vector<float> colors;
  for (int band = 0; band < bands; ++band) {
    const int first = frame.height * band / bands, end = frame.height * (band + 1) / bands;
    deep::DeblockedRows rows(frame, false, radius, first);
    for (int y = first; y < end; ++y) {
      const deep::ConstRow row = rows.row(y);
      for (int x = 0; x < frame.width; ++x) colors.insert(colors.end(), {row.red[x], row.green[x], row.blue[x]});
    }
  }
  return colors;
}

TEST(DeepDeblocking, BlursChromaAloneTheSameEverywhere) {
  constexpr Size kSize{61, 47};
  const Bytes picture = test::greenScreen(kSize.width, kSize.height, 9);
  const ConstFrame frame = packedFrame(picture.data(), kSize.width, kSize.height);
  for (const int radius : {1, 10, 60}) {
    const std::vector<float> colors = deblocked(frame, radius, 1);
    const auto sum = [&](int x, int y, double r, double g, double b) {
      const unsigned char* p = picture.data() + 4 * (y * kSize.width + x);
      return r * p[1] + g * p[2] + b * p[3];
    };
    for (int y = 0; y < kSize.height; ++y) {
      for (int x = 0; x < kSize.width; ++x) {
        const auto mean = [&](double r, double g, double b) {
          return boxMean(kSize, x, y, radius, [&](int u, int v) { return sum(u, v, r, g, b); });
        };
        const double luma = sum(x, y, 0.299, 0.587, 0.114), cr = mean(0.5, -0.4187, -0.0813) - 0.5,
                     cb = mean(-0.1687, -0.3313, 0.5) - 0.5;
        const float* color = colors.data() + 3 * (y * kSize.width + x);
        const double expected[]{luma + 1.402 * cr, luma - 0.34414 * cb - 0.71414 * cr, luma + 1.772 * cb};
        for (int c = 0; c < 3; ++c) ASSERT_NEAR(color[c], std::clamp(expected[c] * 255 / 256, 0.0, 255.0), 0.01);
      }
    }
    test::atEveryLevel(
        [&](CpuLevel level) { EXPECT_EQ(deblocked(frame, radius, 3), colors) << cpuLevelName(level) << radius; });
  }
}

// One of 1 x 1, and one with a pixel that no sum can hold: it is not seen outside its window.
TEST(DeepDeblocking, TakesAnything) {
  std::vector<float> values(40 * 4, 0.5f);
  values[20 * 4] = std::numeric_limits<float>::infinity();
  const auto* bytes = reinterpret_cast<const unsigned char*>(values.data());
  constexpr double kGrey = (127.5 - 1.402 * 0.5) * 255 / 256;
  EXPECT_NEAR(deblocked(packedFrame(bytes, 1, 1, PixelFormat::RgbaF32), 10, 1)[0], kGrey, 0.01);
  const std::vector<float> row = deblocked(packedFrame(bytes, 40, 1, PixelFormat::RgbaF32), 2, 1);
  for (const int x : {0, 17, 23, 39}) EXPECT_NEAR(row[static_cast<std::size_t>(3 * x)], kGrey, 0.01) << x;
}

struct Treatment {
  int contraction = 0, slack = 0, radius = 0, amount = 0, offset = 0;
};

KALVETRA_Param recordOf(const Treatment& treatment) {
  KALVETRA_Param param{};
  param.nContractMask = static_cast<std::uint16_t>(treatment.contraction);
  param.nContractThreshold = static_cast<std::uint16_t>(treatment.slack);
  param.nMaskBlurRadius = static_cast<std::uint16_t>(treatment.radius);
  param.nMaskBlurValue = static_cast<std::uint16_t>(treatment.amount);
  param.nMaskBlurOffset = static_cast<std::uint16_t>(treatment.offset);
  return param;
}

std::vector<float> treated(const Bytes& matte, Size size, const Treatment& treatment, int threads = 1) {
  const Workers turns{threads, [](int parts, const std::function<void(int)>& work) {
                        for (int part = parts; part-- > 0;) work(part);
                      }};
  const Bands bands(&turns, size.height);
  const KALVETRA_Param param = recordOf(treatment);
  deep::MatteStage stage(size.width, size.height, param, bands);
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) stage.row(y)[x] = matte[static_cast<std::size_t>(y * size.width + x)];
  }
  stage.contractAndBlur();
  std::vector<float> result;
  for (int y = 0; y < size.height; ++y) {
    result.insert(result.end(), stage.finished(y), stage.finished(y) + size.width);
  }
  return result;
}

Bytes treatedBytes(const Bytes& matte, Size size, const Treatment& t) {
  Bytes pixels(matte.size() * 4), result(matte.size());
  for (std::size_t i = 0; i < matte.size(); ++i) pixels[i * 4 + 3] = matte[i];
  CImagingZEP imaging;
  imaging.ContGray7(size.width, size.height, pixels.data(), t.contraction, t.slack);
  if (t.radius > 0) imaging.MaskBlur(size.width, size.height, pixels.data(), t.radius, t.amount, t.offset);
  for (std::size_t i = 0; i < matte.size(); ++i) result[i] = pixels[i * 4 + 3];
  return result;
}

// Of whole levels it is the matte in bytes: contraction rounds nothing.
TEST(DeepMatteStage, ContractsAsInBytesTheSameEverywhere) {
  test::Random random(5);
  for (const Size size : {Size{67, 53}, {3, 3}, {2, 9}, {40, 1}, {1, 1}}) {
    Bytes matte(static_cast<std::size_t>(size.width * size.height));
    for (unsigned char& alpha : matte) alpha = static_cast<unsigned char>(random.within(0, 255));
    for (const Treatment& treatment : {Treatment{1, 0}, {2, 10}, {5, 50}, {65535, 20}}) {
      const Bytes bytes = treatedBytes(matte, size, treatment);
      const std::vector<float> expected(bytes.begin(), bytes.end());
      test::atEveryLevel([&](CpuLevel level) {
        EXPECT_EQ(treated(matte, size, treatment, 7), expected) << cpuLevelName(level) << treatment.contraction;
      });
    }
  }
}

// A disc with an edge of `soft` pixels.
Bytes disc(Size size, double soft) {
  Bytes matte;
  for (int y = 0; y < size.height; ++y) {
    for (int x = 0; x < size.width; ++x) {
      const double inside = size.height / 3.0 - std::hypot(x - size.width / 2.0, y - size.height / 2.0);
      matte.push_back(static_cast<unsigned char>(std::clamp(128 + inside / soft * 255, 0.0, 255.0)));
    }
  }
  return matte;
}

TEST(DeepMatteStage, BlursEdgesOnAverageAsInBytes) {
  constexpr Size kSize{320, 240};
  for (const Treatment& treatment : {Treatment{0, 0, 2, 50, 0}, {2, 10, 10, 100, 0}, {0, 0, 40, 70, 30}}) {
    for (const double soft : {1.5, 20.0}) {
      const Bytes matte = disc(kSize, soft), bytes = treatedBytes(matte, kSize, treatment);
      const std::vector<float> floats = treated(matte, kSize, treatment);
      double sum = 0;
      std::size_t far = 0;
      for (std::size_t i = 0; i < floats.size(); ++i) {
        const double off = static_cast<double>(floats[i]) - bytes[i];
        sum += off;
        far += std::abs(off) > 2 ? 1 : 0;
      }
      const auto pixels = static_cast<double>(floats.size());
      EXPECT_LT(std::abs(sum) / pixels, 0.1) << treatment.radius << ' ' << soft;
      EXPECT_LT(static_cast<double>(far) / pixels, 0.001) << treatment.radius << ' ' << soft;
      test::atEveryLevel([&](CpuLevel level) {
        EXPECT_EQ(treated(matte, kSize, treatment, 7), floats) << cpuLevelName(level) << treatment.radius;
      });
    }
  }
}

}  // namespace
