// The backdrop in floats: what it is of frames that say so themselves, and beside the plate in bytes.
#include "deep/backdrop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "deep/expected_chroma.h"
#include "deep/small_plate.h"
#include "engine/CKALVETRA.h"
#include "engine/render_record.h"
#include "parameters/parameter_table.h"
#include "sample/test_images.h"
#include "tests/support/cpu_levels.h"

using namespace kalvetra;

namespace {

constexpr double kRed = 40, kGreen = 150, kBlue = 70;

KeySettings greenKey() {
  KeySettings settings = defaultSettings();
  settings.keyColor = {kRed / 255, kGreen / 255, kBlue / 255};
  return settings;
}

// Threads that come one after the other, the last part first.
Workers turns(int count) {
  return {count, [](int parts, const std::function<void(int)>& work) {
            for (int part = parts; part-- > 0;) work(part);
          }};
}

// A frame of floats. Alpha is 1.
struct Floats {
  Floats(int width, int height)
      : values(static_cast<std::size_t>(width * height) * 4, 1.0f), wide(width), high(height) {}
  // color(x, y) gives levels.
  template <class Color>
  Floats(int width, int height, const Color& color) : Floats(width, height) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const std::array<double, 3> levels = color(x, y);
        for (std::size_t c = 0; c < 3; ++c) at(x, y)[c] = static_cast<float>(levels[c] / 255);
      }
    }
  }
  float* at(int x, int y) { return values.data() + 4 * (y * wide + x); }
  ConstFrame frame() const {
    return packedFrame(reinterpret_cast<const unsigned char*>(values.data()), wide, high, PixelFormat::RgbaF32);
  }
  std::vector<float> values;
  int wide, high;
};

// Red, green, blue of each pixel in levels; the rows from each of several on, as bands take them.
std::vector<float> backdropOf(const ConstFrame& frame, const KnownPlate* given = nullptr,
                              const Workers* workers = nullptr, int bands = 1) {
  const KALVETRA_Param param = makeRecord(greenKey(), nullptr, nullptr, frame.width, frame.height);
  const deep::Backdrop backdrop(frame, false, param, given, workers);
  std::vector<float> colors;
  for (int band = 0; band < bands; ++band) {
    const int first = frame.height * band / bands, end = frame.height * (band + 1) / bands;
    deep::Backdrop::Rows rows(backdrop, first, 8);
    for (int y = first; y < end; ++y) {
      const deep::ConstRow row = rows.row(y);
      for (int x = 0; x < frame.width; ++x) colors.insert(colors.end(), {row.red[x], row.green[x], row.blue[x]});
    }
  }
  return colors;
}

TEST(DeepBackdrop, OfAUniformFrameIsItsColour) {
  for (const auto& [width, height] :
       {std::pair{1, 1}, {2, 1}, {1, 2}, {5, 3}, {640, 1}, {1, 700}, {37, 23}, {321, 322}, {701, 398}}) {
    const Floats frame(width, height, [](int, int) { return std::array{40.3, 151.6, 70.2}; });
    const KnownPlate asGiven{frame.frame()};
    const Floats large(407, 11, [](int, int) { return std::array{40.3, 151.6, 70.2}; });
    const KnownPlate resampled{large.frame()};
    for (const KnownPlate* given : {static_cast<const KnownPlate*>(nullptr), &asGiven, &resampled}) {
      const std::vector<float> colors = backdropOf(frame.frame(), given);
      ASSERT_EQ(colors.size(), static_cast<std::size_t>(width * height * 3));
      for (std::size_t i = 0; i < colors.size(); ++i) {
        ASSERT_NEAR(colors[i], (std::array{40.3, 151.6, 70.2}[i % 3]), 1e-3) << width << " x " << height;
      }
    }
  }
}

// Three levels over the frame's width: in bytes that would be three steps.
TEST(DeepBackdrop, OfASmoothGradientHasNoSteps) {
  constexpr int kWidth = 1280, kHeight = 720;
  const auto level = [](int x) { return kGreen + 3.0 * x / kWidth; };
  const Floats frame(kWidth, kHeight, [&](int x, int) { return std::array{kRed, level(x), kBlue}; });
  const std::vector<float> colors = backdropOf(frame.frame());
  constexpr int kBorder = 40;  // where the smoothing sees only one side
  for (int x = kBorder; x < kWidth - kBorder; ++x) {
    const std::size_t at = (kHeight / 2 * kWidth + static_cast<std::size_t>(x)) * 3 + 1;
    ASSERT_NEAR(colors[at], level(x), 0.01) << x;
    ASSERT_NEAR(colors[at + 3] - colors[at], 3.0 / kWidth, 0.004) << x;
  }
}

// With foreground that leaves holes, and pixels that are no numbers among it.
TEST(DeepBackdrop, IsTheSameAtEveryLevelOnAnyThreadsAndFinite) {
  constexpr int kWidth = 643, kHeight = 401;
  const auto bytes = test::greenScreen(kWidth, kHeight, 3);
  Floats frame(kWidth, kHeight, [&](int x, int y) {
    const unsigned char* p = bytes.data() + 4 * (y * kWidth + x);
    return std::array{p[1] + 0.3, p[2] - 0.3, p[3] + 0.1};
  });
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN(), kMuch = std::numeric_limits<float>::infinity();
  frame.at(20, 20)[1] = kNan;
  std::fill_n(frame.at(500, 60), 4, kMuch);
  frame.at(100, 390)[0] = -kMuch;
  const std::vector<float> expected = backdropOf(frame.frame());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_NEAR(expected[i], (std::array{kRed, kGreen, kBlue}[i % 3]), 60.0) << i;
  }
  test::atEveryLevel([&](CpuLevel level) {
    for (const int threads : {1, 2, 7}) {
      const Workers workers = turns(threads);
      EXPECT_EQ(backdropOf(frame.frame(), nullptr, &workers, threads), expected) << cpuLevelName(level) << threads;
    }
  });
}

// On the mean, behind the foreground as well, but for what that one loses.
TEST(DeepBackdrop, AgreesWithThePlateInBytes) {
  for (const auto& [width, height] : {std::pair{310, 170}, {1280, 720}, {700, 1000}}) {
    const auto picture = test::greenScreen(width, height, 5);
    const ConstFrame frame = packedFrame(picture.data(), width, height);
    std::vector<unsigned char> plate(picture.size());
    ASSERT_TRUE(renderPlate(greenKey(), frame, packedFrame(plate.data(), width, height)));
    const KALVETRA_Param param = makeRecord(greenKey(), nullptr, nullptr, width, height);
    const double loss = static_cast<double>(deep::Backdrop(frame, false, param, nullptr, nullptr).lossInBytes());
    const std::vector<float> colors = backdropOf(frame);
    double sum = 0, count = 0, most = 0;
    for (std::size_t i = 0; i < colors.size(); ++i) {
      const std::size_t at = i / 3 * 4 + 1 + i % 3;
      const double off = plate[at] + loss - static_cast<double>(colors[i]);
      most = std::max(most, std::abs(off));
      sum += off;
      ++count;
    }
    EXPECT_LT(std::abs(sum / count), 0.15) << width;
    EXPECT_LT(most, 2.0) << width;
  }
}

// Of its luminances, but for the half level that the table's truncation takes, and continuous.
TEST(DeepBackdrop, ExpectsTheChromaOfTheTableInBytes) {
  const unsigned char keys[][3]{{40, 150, 70}, {0, 255, 0}, {120, 220, 130}, {170, 250, 42}, {10, 90, 40}};
  for (const auto& [red, green, blue] : keys) {
    const deep::ExpectedChroma expected(red, green, blue);
    CImagingZEP imaging;
    const YIQ key = imaging.RGBtoYIQ(red, green, blue);
    float tableI[256], tableQ[256];
    CKALVETRA().MakeBCCorrect(red, green, blue, key, tableI, tableQ);
    double sum = 0;
    for (int y = 0; y < 256; ++y) {
      const Chroma chroma = expected.at(static_cast<float>(y) + 1.0f);
      const Chroma off = chroma - Chroma{tableI[y] + 0.5f, tableQ[y] + 0.5f};
      const bool shared = y < 80 || static_cast<float>(y) >= key.Y;  // an entry of many luminances
      EXPECT_LT(length(off), shared ? 1e-4f : 2.0f) << int{green} << ' ' << y;
      sum += static_cast<double>(off.I + off.Q);
      const bool next = y == 79 || y == 80 || std::abs(static_cast<float>(y) + 1.0f - key.Y) < 1.0f;  // to these
      const float step = length(chroma - expected.at(static_cast<float>(y) + 1.1f));
      EXPECT_LT(step, next ? 1.5f : 0.2f) << int{green} << ' ' << y;
    }
    EXPECT_LT(std::abs(sum / 256), 0.7) << int{green};
  }
}

// A small copy whose right half has another paint than the left one, which has the key colour: what the plate has
// there.
TEST(DeepBackdrop, IsMadeOfTheKeyColoursPaintAlone) {
  struct Case {
    std::array<float, 3> key, other;
    bool survives;
  };
  for (const Case& c : {Case{{40, 150, 70}, {42, 156, 72}, true},        // nearly the same
                        Case{{40, 150, 70}, {80, 140, 95}, false},       // of its hue, 28 away in chroma
                        Case{{40, 150, 70}, {150, 150, 75}, false},      // of none of the backdrop's hues
                        Case{{10, 150, 70}, {1.5f, 150, 70}, true},      // with a little red
                        Case{{10, 150, 70}, {0.5f, 150, 70}, false}}) {  // without
    KALVETRA_Param param = makeRecord(greenKey(), nullptr, nullptr, 60, 40);
    for (std::size_t i = 0; i < 3; ++i) param.keyColor[i][0] = static_cast<unsigned char>(c.key[i]);
    deep::SmallPlate plate(60, 40);
    for (int y = 0; y < 40; ++y) {
      for (int x = 0; x < 60; ++x) std::copy_n((x < 30 ? c.key : c.other).data(), 3, plate.row(y) + 4 * x);
    }
    deep::makePlate(param, plate);
    for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_NEAR(plate.row(20)[4 * 59 + i], c.survives ? c.other[i] : c.key[i], 0.01) << c.other[0];
    }
  }
}

// Of three rows: two holes below each other, then a row of nothing but holes, then no colour at all. Half a level is
// lost along a row or in an average, and half of that in a mean of two.
TEST(DeepBackdrop, HolesAreFilledAlongAndSettledDown) {
  deep::SmallPlate plate(3, 3);
  HoleMap surviving(3, 3, 0);
  const float levels[3][3]{{6, 90, 6}, {10, 0, 40}, {5, 0, 50}};
  for (int y = 0; y < 3; ++y) {
    for (int x = 0; x < 3; ++x) {
      std::fill_n(plate.row(y) + 4 * x, 3, levels[y][x]);
      surviving.row(y)[x] = x == 1 && y > 0 ? 0 : 1;
    }
  }
  const KALVETRA_Param param = makeRecord(greenKey(), nullptr, nullptr, 3, 3);
  deep::fillHoles(plate, surviving, param);  // along the rows with 10 + 30 / 3 and 5 + 45 / 3
  EXPECT_EQ(plate.row(1)[4], (90 + 19.5f) / 2 - 0.25f);
  EXPECT_EQ(plate.row(2)[4], 19.5f);

  for (int x = 0; x < 3; ++x) surviving.row(2)[x] = 0;
  deep::fillHoles(plate, surviving, param);
  const float average = (6 + 90 + 6 + 10 + 40) / 5.0f - 0.5f;  // what the last row begins with
  EXPECT_FLOAT_EQ(plate.row(1)[4], (90 + average) / 2 - 0.25f);
  EXPECT_EQ(plate.row(2)[0], 10);  // what is a row above

  for (int y = 0; y < 3; ++y) std::fill_n(surviving.row(y), 3, static_cast<unsigned char>(0));
  deep::fillHoles(plate, surviving, param);
  EXPECT_FLOAT_EQ(plate.row(0)[1], static_cast<float>(kGreen));  // the key colour
}

// Neighbours that are one level in bytes are not truncated, and rarely those that differ by a little.
TEST(DeepBackdrop, HolesInAnEvenPlateLoseNothing) {
  for (const float rise : {0.0f, 0.02f}) {
    deep::SmallPlate plate(40, 40);
    HoleMap surviving(40, 40, 0);
    for (int y = 0; y < 40; ++y) {
      for (int x = 0; x < 40; ++x) {
        std::fill_n(plate.row(y) + 4 * x, 3, x > 20 ? 80 + rise : 80.0f);
        surviving.row(y)[x] = std::hypot(x - 20, y - 20) > 15 ? 1 : 0;
      }
    }
    deep::fillHoles(plate, surviving, makeRecord(greenKey(), nullptr, nullptr, 40, 40));
    for (int y = 0; y < 40; ++y) {
      for (int x = 0; x < 40; ++x) ASSERT_NEAR(plate.row(y)[4 * x], 80, rise) << x << ' ' << y;
    }
  }
}

}  // namespace
