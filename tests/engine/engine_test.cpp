// The keying engine: record checks, driver, passes and render entry.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>

#include "engine/CKALVETRA.h"
#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "engine/KalvetraFinalCut.h"
#include "engine/bands.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using kalvetra::KeySettings;
using kalvetra::test::append;
using kalvetra::test::Bytes;
using kalvetra::test::greenScreen;
using kalvetra::test::hashOf;
using kalvetra::test::noise;

CKALVETRA keying;

// A record within all ranges, on images of its own.
struct Record {
  Record(int width, int height) : source(noise(width * height * 4, 3)), result(source.size(), 5) {
    param.pSrc = source.data();
    param.pDst = result.data();
    param.nWidth = static_cast<std::uint16_t>(width);
    param.nHeight = static_cast<std::uint16_t>(height);
    param.keyColor[0][0] = 40;
    param.keyColor[1][0] = 150;
    param.keyColor[2][0] = 70;
    param.nSkinHue[0] = 145;
    param.nBlueHue[0] = 290;
    param.nShadow[0] = 100;
    param.nScreenGain[0] = 10;
  }
  unsigned int run(unsigned int fields = 0) {
    KALVEVIE_Param view{fields};
    return KALVETRA_MakeMaskGreenBack32bit(&param, &view, 0);
  }

  Bytes source, result;
  KALVETRA_Param param{};
};

KeySettings settings(int view = kKalvetraViewResult) {
  KeySettings s = kalvetra::defaultSettings();
  s.view = view;
  s.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return s;
}

Bytes render(const KeySettings& s, const Bytes& frame, int width, int height) {
  return kalvetra::test::rendered(s, frame, width, height);
}

TEST(Driver, RefusesRecordsOutOfRange) {
  const auto refused = [](auto spoil) {
    Record r(4, 3);
    spoil(r.param);
    const Bytes before = r.result;
    return r.run() == 2 && r.result == before;
  };
  EXPECT_TRUE(refused([](auto& p) { p.nSkinHue[0] = 171; }));
  EXPECT_TRUE(refused([](auto& p) { p.nSkinHue[0] = 119; }));
  EXPECT_TRUE(refused([](auto& p) { p.nBlueHue[0] = 249; }));
  EXPECT_TRUE(refused([](auto& p) { p.nBlueHue[0] = 331; }));
  EXPECT_TRUE(refused([](auto& p) { p.nScreenGain[0] = 31; }));
  EXPECT_TRUE(refused([](auto& p) { p.nShadow[0] = 101; }));
  EXPECT_TRUE(refused([](auto& p) { p.nDespillWhite[0] = 101; }));
  EXPECT_TRUE(refused([](auto& p) { p.nDespillSkin[0] = 51; }));
  EXPECT_TRUE(refused([](auto& p) { p.nDespillBlue[0] = 51; }));
  EXPECT_TRUE(refused([](auto& p) { p.nContractThreshold = 256; }));
  EXPECT_TRUE(refused([](auto& p) { p.nMaskBlurValue = 101; }));
  EXPECT_TRUE(refused([](auto& p) { p.pSrc = nullptr; }));
  EXPECT_TRUE(refused([](auto& p) { p.pDst = nullptr; }));
  EXPECT_FALSE(refused([](auto& p) { p.nSkinHue[1] = 9999; }));  // second elements are not looked at
  EXPECT_EQ(2u, KALVETRA_MakeMaskGreenBack32bit(nullptr, nullptr, 0));
}

TEST(Driver, KeysEachFieldByItself) {
  for (const unsigned int smooth : {0u, 1u}) {
    for (const int height : {1, 2, 5, 6}) {
      Record whole(6, height);
      whole.param.bSmoothBG = smooth;
      whole.param.nDeBlock = 2;
      const Bytes source = whole.source;
      EXPECT_EQ(0u, whole.run(1));
      // Each field keyed as a picture of its own gives the same rows.
      for (int parity = 0; parity < 2; ++parity) {
        const int rows = (height + 1 - parity) / 2;
        Record field(6, rows);
        for (int y = 0; y < rows; ++y)
          std::copy_n(source.begin() + (2 * y + parity) * 24, 24, field.source.begin() + y * 24);
        field.param.bSmoothBG = smooth;
        field.param.nDeBlock = 2;
        field.run(0);
        for (int y = 0; y < rows; ++y) {
          EXPECT_TRUE(std::equal(field.result.begin() + y * 24, field.result.begin() + (y + 1) * 24,
                                 whole.result.begin() + (2 * y + parity) * 24))
              << "row " << 2 * y + parity << " of " << height;
        }
      }
    }
  }
}

TEST(Driver, SkipsStagesWhoseAmountIsZero) {
  Record plain(9, 9), idle(9, 9);
  plain.run();
  idle.param.nContractThreshold = 200;
  idle.param.nMaskBlurValue = 100;
  idle.run();
  EXPECT_EQ(plain.result, idle.result);
  Record contracted(9, 9), blurred(9, 9);
  contracted.param.nContractMask = 1;
  contracted.run();
  EXPECT_NE(plain.result, contracted.result);
  blurred.param.nMaskBlurRadius = 2;
  blurred.param.nMaskBlurValue = 100;
  blurred.run();
  EXPECT_NE(plain.result, blurred.result);
}

TEST(Passes, TheKeyColourVanishesAndFarColoursStay) {
  const unsigned char pixels[][3] = {{70, 150, 40}, {120, 140, 230}, {30, 20, 200}};  // key, skin, red
  for (const unsigned int smooth : {0u, 1u}) {
    Record r(3, 1);
    for (std::size_t i = 0; i < 3; ++i) {
      std::copy_n(pixels[i], 3, r.source.begin() + static_cast<std::ptrdiff_t>(i) * 4);
    }
    Bytes plate;
    for (int i = 0; i < 3; ++i) append(plate, {70, 150, 40, 255});
    // Over a plate of its own colour a pixel counts as a little darker, and becomes a faint black.
    const unsigned char grey = smooth != 0 ? 0 : 160;
    EXPECT_EQ(0u, smooth != 0 ? keying.MakeChromaKeyMaskX9Core32bit14(&r.param, plate.data())
                              : keying.MakeMask32bit007_2(&r.param));
    EXPECT_EQ((Bytes{grey, grey, grey}), Bytes(r.result.begin(), r.result.begin() + 3));
    EXPECT_LE(r.result[3], smooth != 0 ? 5 : 0);
    EXPECT_EQ((Bytes{120, 140, 230, 255, 30, 20, 200, 255}), Bytes(r.result.begin() + 4, r.result.end()));
  }
  EXPECT_EQ(2u, keying.MakeMask32bit007_2(nullptr));
  EXPECT_EQ(2u, keying.MakeMask32bit008_1(nullptr));
  EXPECT_EQ(2u, keying.MakeChromaKeyMaskX9Core32bit14(nullptr, nullptr));
}

TEST(Extraction, EveryKeyColourKeepsItself) {
  kalvetra::test::Random random(17);
  for (int i = 0; i < 40; ++i) {
    // Greens bright enough that the dark-luminance rule does not move their expected chroma.
    const auto r = static_cast<unsigned char>(random.within(0, 70)),
               g = static_cast<unsigned char>(random.within(160, 255)),
               b = static_cast<unsigned char>(random.within(0, 90));
    Bytes image{b, g, r, 1}, map(4, 9);
    ASSERT_EQ(1u, keying.ExtractBack32bit(image.data(), map.data(), 1, 1, 4, r, g, b, 145, 290));
    EXPECT_EQ((Bytes{b, g, r, 1}), image) << int{r} << " " << int{g} << " " << int{b};
    EXPECT_EQ(0, map[0]);
  }
}

TEST(PlateRepair, FillsHolesOfEveryKind) {
  // One hole between two survivors: a third of the way, then settled by the column (there is none here).
  Bytes row{10, 20, 30, 0, 0, 0, 0, 0, 40, 50, 90, 0};
  keying.ExpandBack32bit8(row.data(), 3, 1, 12, 1, 2, 3);
  EXPECT_EQ((Bytes{20, 30, 50}), Bytes(row.begin() + 4, row.begin() + 7));
  // Nothing survives: the key colour everywhere.
  Bytes empty(5 * 4 * 4, 0);
  keying.ExpandBack32bit8(empty.data(), 5, 4, 20, 11, 22, 33);
  for (std::size_t i = 0; i < empty.size(); i += 4)
    EXPECT_EQ((Bytes{33, 22, 11, 0}), Bytes(empty.begin() + static_cast<std::ptrdiff_t>(i),
                                            empty.begin() + static_cast<std::ptrdiff_t>(i) + 4));
  // A plate without holes stays; holes of a uniform plate come back in its colour.
  Bytes uniform;
  for (int i = 0; i < 12 * 12; ++i) append(uniform, {60, 140, 50, 255});
  Bytes holed = uniform;
  for (const int at : {0, 13, 14, 26, 77, 78, 79, 90, 143})
    std::fill_n(holed.begin() + at * 4, 3, static_cast<unsigned char>(0));
  keying.ExpandBack32bit8(holed.data(), 12, 12, 48, 1, 2, 3);
  EXPECT_EQ(uniform, holed);
}

TEST(PlateRepair, ContractionTestsTheRedByteAlone) {
  Bytes image;
  for (int i = 0; i < 7 * 7; ++i) append(image, {60, 140, 50, 255});
  image[(3 * 7 + 3) * 4 + 2] = 0;  // green, but without red: counts as a hole
  Bytes none = image;
  keying.ContractBack32bit(none.data(), 7, 7, 28, 0);
  EXPECT_EQ(image, none);
  keying.ContractBack32bit(image.data(), 7, 7, 28, 2);
  int black = 0;
  for (std::size_t i = 0; i < image.size(); i += 4) black += image[i] == 0 && image[i + 1] == 0 && image[i + 2] == 0;
  EXPECT_EQ(25, black);  // the hole itself has been a neighbour of its neighbours
}

TEST(RenderEntry, TheMatteViewShowsTheResultsAlpha) {
  const int width = 48, height = 27;
  const Bytes frame = greenScreen(width, height, 1);
  EXPECT_EQ(frame, render(settings(kKalvetraViewSource), frame, width, height));
  const Bytes matte = render(settings(kKalvetraViewMatte), frame, width, height);
  const Bytes result = render(settings(), frame, width, height);
  for (std::size_t i = 0; i < frame.size(); i += 4) {
    EXPECT_EQ(255, matte[i]);
    for (std::size_t c = 1; c < 4; ++c) ASSERT_EQ(result[i], matte[i + c]);
  }
  EXPECT_LT(result[0], 20);                                                 // screen
  EXPECT_EQ(255, result[static_cast<std::size_t>((13 * width + 24) * 4)]);  // skin
}

// Without its neighbourhood stages the colour-key pass looks at one pixel at a time: reordering commutes with it.
TEST(RenderEntry, TheColourKeyPassLooksAtOnePixel) {
  const int width = 32, height = 20;
  KeySettings s = settings();
  s.smoothBG = 0;
  s.shadow = 30;
  const Bytes frame = greenScreen(width, height, 6);
  const auto reversed = [](const Bytes& image) {
    Bytes result;
    for (std::size_t i = image.size(); i > 0; i -= 4)
      result.insert(result.end(), image.begin() + static_cast<std::ptrdiff_t>(i) - 4,
                    image.begin() + static_cast<std::ptrdiff_t>(i));
    return result;
  };
  EXPECT_EQ(reversed(render(s, frame, width, height)), render(s, reversed(frame), width, height));
  EXPECT_EQ(render(s, frame, width, height), render(s, frame, height, width));  // nor does the frame's shape matter
}

// A frame of one colour gives a matte of one level, up to the resampler's truncated taps at the borders.
TEST(RenderEntry, UniformFramesStayUniform) {
  kalvetra::test::Random random(8);
  for (int round = 0; round < 60; ++round) {
    KeySettings s = settings(kKalvetraViewMatte);
    for (const kalvetra::Parameter& p : kalvetra::kHostParameters) {
      if (p.value != nullptr && p.slug != "view") s.*p.value = random.within(p.minimum, p.maximum);
    }
    s.clipBlack = 0;
    s.clipWhite = 100;
    Bytes frame;
    const bool screen = round % 2 == 0;
    const auto red = static_cast<unsigned char>(screen ? 40 : random.within(0, 255)),
               green = static_cast<unsigned char>(screen ? 150 : random.within(0, 255)),
               blue = static_cast<unsigned char>(screen ? 70 : random.within(0, 255));
    for (int i = 0; i < 400 * 9; ++i) append(frame, {255, red, green, blue});
    const Bytes matte = render(s, frame, 400, 9);
    int lowest = 255, highest = 0;
    for (std::size_t i = 1; i < matte.size(); i += 4) {
      lowest = std::min<int>(lowest, matte[i]);
      highest = std::max<int>(highest, matte[i]);
    }
    EXPECT_LE(highest - lowest, 6) << int{red} << " " << int{green} << " " << int{blue} << ", round " << round;
    EXPECT_LE(highest, screen ? 8 : 255) << "round " << round;
  }
}

// A darker screen becomes a black shadow whose opacity grows with the darkening.
TEST(RenderEntry, ShadowsGrowWithTheirDarkness) {
  KeySettings s = settings();
  s.smoothBG = 0;  // an estimated backdrop would follow the shadow
  Bytes frame;
  for (int drop = 4; drop < 34; ++drop) {
    const auto fallen = [drop](int level) { return static_cast<unsigned char>(level - drop); };
    append(frame, {255, fallen(40), fallen(150), fallen(70)});
  }
  const Bytes out = render(s, frame, 30, 1);
  for (std::size_t i = 4; i < out.size(); i += 4) {
    EXPECT_GE(out[i], out[i - 4]) << i;
    EXPECT_EQ(0, out[i + 1] + out[i + 2] + out[i + 3]) << i;
  }
  // Luminance 111 - 33 against 111: 33 / (111 + 50), stretched by 1 / 0.8.
  EXPECT_NEAR(33.0 / 161.0 / 0.8 * 255.0, out[29 * 4], 1.0);
}

TEST(RenderEntry, ABlackKeyColourKeysNothing) {
  const Bytes frame = noise(6 * 5 * 4, 2);
  KeySettings s = settings();
  s.keyColor = {1 / 255.0, 0, 1 / 255.0};
  EXPECT_EQ(frame, render(s, frame, 6, 5));
  s.keyColor = {std::nan(""), 0, 0};
  EXPECT_EQ(frame, render(s, frame, 6, 5));
}

TEST(RenderEntry, TheSourcesAlphaLimitsTheMatteAndKeepsItsColour) {
  Bytes frame = greenScreen(16, 12, 4);
  kalvetra::test::Random random(5);
  for (std::size_t i = 0; i < frame.size(); i += 4) frame[i] = static_cast<unsigned char>(random.within(0, 3) * 85);
  KeySettings s = settings();
  s.deBlocking = 1;  // changes the working copy of the source, which must not show through
  s.deBlockValue = 3;
  const Bytes out = render(s, frame, 16, 12);
  for (std::size_t i = 0; i < frame.size(); i += 4) {
    EXPECT_LE(out[i], frame[i]);
    if (frame[i] != 0) continue;
    for (std::size_t c = 1; c < 4; ++c) EXPECT_EQ(frame[i + c], out[i + c]);
  }
}

TEST(RenderEntry, OnlyTheCommonAreaIsWritten) {
  const Bytes frame = greenScreen(8, 6, 1);
  for (const auto& [width, height] : {std::pair{5, 9}, {11, 4}}) {
    Bytes out(static_cast<std::size_t>(width * height * 4), 7);
    KalvetraFinalCut(reinterpret_cast<char*>(out.data()), width, height, reinterpret_cast<const char*>(frame.data()), 8,
                     6, 1, 1, kKalvetraViewMatte, 0.16, 0.59, 0.27, 1, 100, 0, 100, 0, 1, 0, 2, 10, 0, 2, 50, 0, 0, 20,
                     20, 0, 33);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        EXPECT_EQ(x < 8 && y < 6 ? 255 : 7, out[static_cast<std::size_t>((y * width + x) * 4)]) << x << "," << y;
      }
    }
  }
}

TEST(RenderEntry, ClipLevelsStretchTheMatte) {
  // Unkeyed frames show the clip alone: the matte is the source's alpha.
  Bytes ramp;
  for (int i = 0; i < 256; ++i) append(ramp, {static_cast<unsigned char>(i), 1, 2, 3});
  const auto clipped = [&](int black, int white, int alpha) {
    KeySettings s = kalvetra::defaultSettings();
    s.clipBlack = black;
    s.clipWhite = white;
    return int{render(s, ramp, 256, 1)[static_cast<std::size_t>(alpha) * 4]};
  };
  EXPECT_EQ(77, clipped(0, 100, 77));
  EXPECT_EQ(0, clipped(50, 50, 129));  // 50 % is 128, and lo is raised to 129
  EXPECT_EQ(255, clipped(50, 50, 130));
  EXPECT_EQ(0, clipped(20, 80, 51));
  EXPECT_EQ(126, clipped(20, 80, 127));  // 51..204: (127 - 51) / 153 of 255 is 126.67, truncated
  EXPECT_EQ(255, clipped(20, 80, 204));
  EXPECT_EQ(0, clipped(INT_MAX, INT_MAX, 255));
}

TEST(RenderEntry, ValueMappersInvertEachOther) {
  EXPECT_DOUBLE_EQ(9.9, toValue(30, 0, 33));
  EXPECT_DOUBLE_EQ(145, toValue2(170, 120, 0));
  for (int v = 0; v <= 100; ++v) EXPECT_NEAR(v, toParcentage(330, 250, toValue(330, 250, v)), 1e-9);
  for (int v = -50; v <= 50; ++v) EXPECT_NEAR(v, toParcentage2(170, 120, toValue2(170, 120, v)), 1e-9);
}

// Frames large enough for the small copy to be a reduction. Computed once and checked against a second implementation
// written apart from this one.
TEST(RenderEntry, LargeFramesKeepTheirBytes) {
  const auto hash = [](int width, int height, auto change) {
    KeySettings s = settings();
    change(s);
    return hashOf(render(s, greenScreen(width, height, 11), width, height));
  };
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    SCOPED_TRACE(kalvetra::cpuLevelName(level));
    EXPECT_EQ(1130834118368771005u, hash(701, 395, [](KeySettings&) {}));
    EXPECT_EQ(10168605587376466388u,
              hash(395, 701, [](KeySettings& s) { s.shadow = 40, s.despillWhite = 60, s.deBlocking = 1; }));
    EXPECT_EQ(1444998034409168601u,
              hash(701, 395, [](KeySettings& s) { s.smoothBG = 0, s.edgeContract = 1, s.edgeBlur = 1; }));
  });
}

// The level of a lent thread is another: where there are vectors, `process` differs from the caller's.
TEST(Bands, CoverTheRowsAtTheCallersLevelForAnyNumberOfThreads) {
  const kalvetra::CpuLevel process = kalvetra::cpuLevels().back();
  for (const int threads : {INT_MIN, -1, 0, 1, 2, 7, 1 << 30, INT_MAX}) {
    for (const int rows : {1, 15, 16, 40, 1000, 65535}) {
      SCOPED_TRACE(testing::Message() << threads << " threads, " << rows << " rows");
      const kalvetra::Workers workers{threads, [process](int parts, const std::function<void(int)>& work) {
                                        const kalvetra::CpuLevelScope lent(process);
                                        for (int part = 0; part < parts; ++part) work(part);
                                      }};
      const kalvetra::CpuLevelScope callers(kalvetra::CpuLevel::Scalar);
      const kalvetra::Bands bands(&workers, rows);
      int next = 0;
      bands.run([&](int, int first, int end) {
        EXPECT_EQ(kalvetra::CpuLevel::Scalar, kalvetra::cpuLevel());
        EXPECT_EQ(next, first);
        EXPECT_LT(first, end);
        next = end;
      });
      EXPECT_EQ(rows, next);
      EXPECT_LE(bands.count(), std::clamp(threads, 1, rows) * 2LL);
    }
  }
}

}  // namespace
