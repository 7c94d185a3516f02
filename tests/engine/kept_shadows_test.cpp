// Shadows on a backdrop of which there is a picture. What is expected follows from how the frames are drawn.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "parameters/parameter_table.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using test::Bytes;
using Color = std::array<double, 3>;

constexpr Color kPaint{40, 150, 70};
constexpr int kWidth = 256, kHeight = 24;

KeySettings greenKey() {
  KeySettings settings = defaultSettings();
  settings.keyColor = {kPaint[0] / 255, kPaint[1] / 255, kPaint[2] / 255};
  return settings;
}

// About normal, deviation 1.
double normal(test::Random& random) {
  int sum = 0;
  for (int i = 0; i < 12; ++i) sum += random.within(0, 1000);
  return sum / 1000.0 - 6.0;
}

// color(x) in every row.
template <class ColorAt>
Bytes drawn(ColorAt color, double noise = 0) {
  test::Random random(11);
  Bytes frame;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    const Color c = color(i % kWidth);
    frame.push_back(255);
    for (const double v : c) {
      const double level = std::floor(v + noise * normal(random) + 0.5);
      frame.push_back(static_cast<unsigned char>(std::clamp(level, 0.0, 255.0)));
    }
  }
  return frame;
}

Color shaded(double density) {
  return {kPaint[0] * (1 - density), kPaint[1] * (1 - density), kPaint[2] * (1 - density)};
}

Bytes keyed(const KeySettings& settings, const Bytes& frame, double noise) {
  static const Bytes bare = drawn([](int) { return kPaint; });
  const KnownPlate plate{packedFrame(bare.data(), kWidth, kHeight), true, static_cast<float>(noise)};
  Bytes out(frame.size());
  render(settings, packedFrame(frame.data(), kWidth, kHeight), packedFrame(out.data(), kWidth, kHeight),
         {Scan::Whole, nullptr, &plate});
  return out;
}

double meanAlpha(const Bytes& picture) {
  double sum = 0;
  for (std::size_t i = 0; i < picture.size(); i += 4) sum += picture[i] / 255.0;
  return sum / static_cast<double>(picture.size() / 4);
}

TEST(KeptShadows, ComeOutAtTheirDensityAndBlack) {
  for (const double noise : {0.0, 1.5}) {
    for (int tenths = 1; tenths <= 8; ++tenths) {
      const double density = tenths / 10.0;
      SCOPED_TRACE(testing::Message() << "density " << density << ", noise " << noise);
      const Bytes frame = drawn([density](int) { return shaded(density); }, noise);
      const Bytes key = keyed(greenKey(), frame, noise);
      EXPECT_NEAR(density, meanAlpha(key), 0.01);
      double colors = 0;
      for (std::size_t i = 0; i < key.size(); i += 4) colors += std::max({key[i + 1], key[i + 2], key[i + 3]});
      EXPECT_LT(colors / (kWidth * kHeight), 1.0);

      KeySettings lighter = greenKey();
      lighter.shadow = 50;
      EXPECT_NEAR(std::pow(density, 1.5), meanAlpha(keyed(lighter, frame, noise)), 0.012);
    }
  }
}

TEST(KeptShadows, ANoisyBareScreenStaysClear) {
  const Bytes key = keyed(greenKey(), drawn([](int) { return kPaint; }, 1.5), 1.5);
  EXPECT_LT(meanAlpha(key), 0.001);
}

// Neither where a shadow fades out nor where it passes behind the edge of a subject.
TEST(KeptShadows, HaveNoSeam) {
  const Color skin{205, 150, 125};
  const auto expectSmooth = [](const Bytes& key, int mostLevels) {
    for (int x = 1; x < kWidth; ++x) {
      const std::size_t at = static_cast<std::size_t>(x) * 4;
      EXPECT_LE(std::abs(key[at] - key[at - 4]), mostLevels) << x;
    }
  };
  expectSmooth(keyed(greenKey(), drawn([](int x) { return shaded(0.8 * x / kWidth); }), 0), 4);
  const Bytes edge = drawn([&skin](int x) {
    const double opacity = x / 255.0;
    Color color = shaded(0.4);
    for (std::size_t c = 0; c < 3; ++c) color[c] += opacity * (skin[c] - color[c]);
    return color;
  });
  expectSmooth(keyed(greenKey(), edge, 1.5), 24);
}

TEST(KeptShadows, WhatHasAnotherPaintIsKeyedAsWithoutThem) {
  KnownPlate plate;
  const Bytes bare = drawn([](int) { return kPaint; });
  plate.picture = packedFrame(bare.data(), kWidth, kHeight);
  for (const Color& paint :
       {Color{205, 150, 125}, Color{30, 24, 20}, Color{128, 150, 140}, Color{30, 40, 110}, Color{6, 6, 5},
        Color{21, 45, 24} /* dark cloth in the screen's light */, Color{4, 14, 7}}) {
    const Bytes frame = drawn([&paint](int) { return paint; });
    Bytes without(frame.size());
    render(greenKey(), packedFrame(frame.data(), kWidth, kHeight), packedFrame(without.data(), kWidth, kHeight),
           {Scan::Whole, nullptr, &plate});
    EXPECT_TRUE(without == keyed(greenKey(), frame, 1.5)) << paint[0];
  }
}

TEST(KeptShadows, ShowInTheMatteAndStayWithinTheFramesAlpha) {
  Bytes frame = drawn([](int) { return shaded(0.5); });
  for (std::size_t i = 0; i < frame.size(); i += 4) frame[i] = static_cast<unsigned char>(i / 4 % kWidth);
  const Bytes key = keyed(greenKey(), frame, 0);
  KeySettings matte = greenKey();
  matte.view = 1;
  const Bytes shown = keyed(matte, frame, 0);
  for (std::size_t i = 0; i < frame.size(); i += 4) {
    EXPECT_NEAR(std::min<int>(frame[i], 128), key[i], 1);
    EXPECT_EQ(key[i], shown[i + 2]);
    EXPECT_EQ(255, shown[i]);
  }
}

// No noise that somebody claims is out of range.
TEST(KeptShadows, TakeAnyNoise) {
  const Bytes frame = drawn([](int x) { return shaded(x / 255.0); });
  for (const double noise : {-1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(keyed(greenKey(), frame, 0.0), keyed(greenKey(), frame, noise));
  }
  EXPECT_EQ(keyed(greenKey(), frame, 255.0), keyed(greenKey(), frame, std::numeric_limits<double>::infinity()));
}

}  // namespace
