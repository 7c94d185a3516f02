// What is said of a pixel's treatment agrees with what becomes of it.
#include "engine/inspection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_table.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using kalvetra::test::Bytes;
using kalvetra::test::Random;

constexpr int kWidth = 23, kHeight = 14;
constexpr std::array<int, 3> kKey{45, 165, 75};

// Pixels about the key colour, shadows of it, and colours mixed with it; opaque.
Bytes mixedFrame(Random& random) {
  Bytes frame(kWidth * kHeight * 4, 255);
  for (std::size_t i = 0; i < frame.size(); i += 4) {
    const int share = random.within(0, 3) * 33, light = random.within(40, 115);
    for (std::size_t c = 0; c < 3; ++c) {
      const int mixed = (kKey[c] * (100 - share) + random.within(0, 255) * share) * light / 10000;
      frame[i + 1 + c] = static_cast<unsigned char>(std::clamp(mixed, 0, 255));
    }
  }
  return frame;
}

KeySettings someSettings(bool smooth, Random& random) {
  KeySettings s = defaultSettings();
  for (std::size_t c = 0; c < 3; ++c) s.keyColor[c] = kKey[c] / 255.0;
  s.smoothBG = smooth ? 1 : 0;
  for (int KeySettings::*slider : {&KeySettings::shadow, &KeySettings::despillWhite, &KeySettings::despillSkin,
                                   &KeySettings::despillBlue, &KeySettings::screenGain}) {
    s.*slider = random.within(0, 100);
  }
  s.skinHue = random.within(-50, 50);
  s.blueHue = random.within(-50, 50);
  return s;
}

Bytes rendered(const KeySettings& settings, const Bytes& frame, bool fields) {
  return test::rendered(settings, frame, kWidth, kHeight, fields ? Scan::Fields : Scan::Whole);
}

void expectAgreement(Treatment treatment, const unsigned char* source, const unsigned char* result) {
  const bool grey = result[1] == result[2] && result[2] == result[3];
  if (treatment == Treatment::Foreground) {
    EXPECT_TRUE(std::equal(source, source + 4, result)) << "foreground stays as it is, opaque";
  } else if (treatment == Treatment::NearKey) {
    EXPECT_TRUE(grey && (result[1] == 0 || (result[1] == 160 && result[0] == 0))) << "a shadow, or gone";
  }
}

TEST(Inspection, TreatmentsAgreeWithTheResult) {
  Random random(3);
  std::set<std::pair<Treatment, bool>> seen;
  for (int round = 0; round < 6; ++round) {
    const bool smooth = round % 2 == 0, fields = round >= 4;
    const KeySettings settings = someSettings(smooth, random);
    const Bytes frame = mixedFrame(random), result = rendered(settings, frame, fields);
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        const Treatment treatment = treatmentAt(settings, packedFrame(frame.data(), kWidth, kHeight),
                                                {fields ? Scan::Fields : Scan::Whole}, x, y);
        const std::ptrdiff_t at = (std::ptrdiff_t{y} * kWidth + x) * 4;
        expectAgreement(treatment, frame.data() + at, result.data() + at);
        seen.emplace(treatment, smooth);
      }
    }
  }
  EXPECT_EQ(8U, seen.size()) << "every treatment, by both passes";
}

// A side's setting changes pixels of that side alone, and some of them.
TEST(Inspection, SidesAreThoseThatTheirSettingsChange) {
  struct {
    int KeySettings::*setting;
    Treatment side;
  } const cases[] = {{&KeySettings::despillSkin, Treatment::SkinSide},
                     {&KeySettings::despillBlue, Treatment::BlueSide}};
  for (const bool smooth : {false, true}) {
    for (const auto& c : cases) {
      Random random(11);
      KeySettings settings = someSettings(smooth, random);
      const Bytes frame = mixedFrame(random);
      settings.*c.setting = 0;
      const Bytes before = rendered(settings, frame, false);
      settings.*c.setting = 90;
      const Bytes after = rendered(settings, frame, false);
      int changed = 0;
      for (int i = 0; i < kWidth * kHeight; ++i) {
        if (std::equal(&before[static_cast<std::size_t>(i) * 4], &before[static_cast<std::size_t>(i) * 4] + 4,
                       &after[static_cast<std::size_t>(i) * 4])) {
          continue;
        }
        ++changed;
        EXPECT_EQ(c.side, treatmentAt(settings, packedFrame(frame.data(), kWidth, kHeight), {Scan::Whole}, i % kWidth,
                                      i / kWidth));
      }
      EXPECT_GT(changed, 3);
    }
  }
}

TEST(Inspection, DeblockedPixelsAreJudgedAsTheyAreKeyed) {
  Random random(5);
  KeySettings settings = someSettings(true, random);
  settings.deBlocking = 1;
  settings.deBlockValue = 4;
  const Bytes frame = mixedFrame(random), result = rendered(settings, frame, false);
  int others = 0;
  for (int i = 0; i < kWidth * kHeight; ++i) {
    const std::size_t at = static_cast<std::size_t>(i) * 4;
    const Treatment treatment =
        treatmentAt(settings, packedFrame(frame.data(), kWidth, kHeight), {Scan::Whole}, i % kWidth, i / kWidth);
    if (treatment == Treatment::Foreground) {
      EXPECT_EQ(255, result[at]);
    } else if (treatment == Treatment::NearKey) {
      expectAgreement(treatment, nullptr, &result[at]);
    }
    others += treatment == Treatment::Foreground ? 0 : 1;
  }
  EXPECT_GT(others, 0);
}

TEST(Inspection, NothingIsKeyedWithoutAKeyColour) {
  Random random(1);
  const Bytes frame = mixedFrame(random);
  EXPECT_EQ(Treatment::Foreground,
            treatmentAt(defaultSettings(), packedFrame(frame.data(), kWidth, kHeight), {Scan::Whole}, 3, 3));
}

// The hue of a direction, as HLStoYIQ has it, worked out from R - Y and B - Y.
double hueOf(Chroma c) {
  const double i = static_cast<double>(c.I), q = static_cast<double>(c.Q);
  const double redLessY = 0.956 * i + 0.621 * q, blueLessY = -1.107 * i + 1.704 * q;
  const double degrees = std::atan2(redLessY, blueLessY) * 180.0 / 3.14159265358979;
  return degrees < 0 ? degrees + 360 : degrees;
}

TEST(Inspection, LinesPointToTheirHues) {
  for (const int smooth : {0, 1}) {
    KeySettings settings = defaultSettings();
    settings.keyColor = {45 / 255.0, 165 / 255.0, 75 / 255.0};
    settings.smoothBG = smooth;
    settings.despillSkin = settings.despillBlue = 0;
    const KeyLines lines = keyLines(settings);
    EXPECT_NEAR(145, hueOf(lines.skinHue), 0.5);
    EXPECT_NEAR(290, hueOf(lines.blueHue), 0.5);
    EXPECT_NEAR(0, std::abs(lines.grey.I) + std::abs(lines.grey.Q), 0.1);
    EXPECT_NEAR(0.596 * 45 - 0.274 * 165 - 0.322 * 75, lines.key.I, 0.5);
    EXPECT_NEAR(0.211 * 45 - 0.523 * 165 + 0.312 * 75, lines.key.Q, 0.5);
    EXPECT_NEAR(1, dot(lines.skinHue, lines.skinDespill), 1e-4);
    EXPECT_NEAR(1, dot(lines.blueHue, lines.blueDespill), 1e-4);
    settings.despillSkin = settings.despillBlue = 60;  // percent of 50 degrees
    const KeyLines turned = keyLines(settings);
    EXPECT_NEAR(std::cos(30 * 3.14159265 / 180), dot(turned.skinHue, turned.skinDespill), 1e-4);
    EXPECT_NEAR(std::cos(30 * 3.14159265 / 180), dot(turned.blueHue, turned.blueDespill), 1e-4);
  }
}

}  // namespace
