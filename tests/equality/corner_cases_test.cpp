// Places where a vector form once differed from the plain one, or left its buffers.
#include <gtest/gtest.h>

#include <climits>

#include "cpu/cpu_level.h"
#include "engine/CKALVETRA.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using kalvetra::CpuLevel;
using kalvetra::cpuLevelName;
using kalvetra::test::append;
using kalvetra::test::atEveryLevel;
using kalvetra::test::Bytes;

// Expects `make()` to give the same bytes at every level.
template <class Make>
void expectTheSame(Make make) {
  Bytes plain;
  atEveryLevel([&](CpuLevel level) {
    const Bytes bytes = make();
    if (level == CpuLevel::Scalar) plain = bytes;
    EXPECT_EQ(plain, bytes) << cpuLevelName(level);
  });
}

// Plate and pixel lie opposite each other across grey, in line with it to the last bits: which side of the axis the
// pixel is on depends on how far the quarter turn falls short of 90 degrees.
TEST(CornerCases, OppositeHuesInLineWithGrey) {
  Bytes frame;
  for (int i = 0; i < 64 * 64; ++i) append(frame, {255, 128, 182, 219});
  constexpr std::size_t kMiddle = (32 * 64 + 32) * 4;
  frame[kMiddle + 1] = 234;
  frame[kMiddle + 2] = 126;
  frame[kMiddle + 3] = 52;
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {128 / 255.0, 182 / 255.0, 219 / 255.0};
  settings.skinHue = -50;
  settings.blueHue = 50;
  expectTheSame([&] {
    const Bytes out = kalvetra::test::rendered(settings, frame, 64, 64);
    EXPECT_EQ(150, out[kMiddle + 1]);  // keyed, not left as it is
    return out;
  });
}

TEST(CornerCases, RecordsBeyondTheirRanges) {
  for (const auto& [gain, shadow] : {std::pair{250, 100}, {10, 250}, {65535, 65535}}) {
    expectTheSame([gain = gain, shadow = shadow] {
      Bytes source = kalvetra::test::noise(40 * 40 * 4, 5), plate = kalvetra::test::noise(40 * 40 * 4, 6);
      Bytes result(source.size());
      KALVETRA_Param p{};
      p.pSrc = source.data();
      p.pDst = result.data();
      p.nWidth = p.nHeight = 40;
      p.nSkinHue[0] = 145;
      p.nBlueHue[0] = 290;
      p.nScreenGain[0] = static_cast<std::uint16_t>(gain);
      p.nShadow[0] = static_cast<std::uint16_t>(shadow);
      CKALVETRA().MakeChromaKeyMaskX9Core32bit14(&p, plate.data());
      return result;
    });
  }
}

TEST(CornerCases, SizesThatHoldNothing) {
  expectTheSame([] {
    Bytes image = kalvetra::test::noise(64, 1), map(16, 7);
    CKALVETRA keying;
    EXPECT_EQ(1u, keying.ExtractBack32bit(image.data(), map.data(), -1, 1, 64, 40, 200, 50, 145, 290));
    EXPECT_EQ(1u, keying.ContractBack32bit(image.data(), 16, 1, 0, 3));
    image.insert(image.end(), map.begin(), map.end());
    return image;
  });
}

// Once the holes have nowhere to grow, it is over, whatever the count: the plain loop would take minutes.
TEST(CornerCases, HolesThatCannotGrowAnyMore) {
  expectTheSame([] {
    Bytes image = kalvetra::test::noise(24 * 24 * 4, 3), few;
    image[2] = 0;
    few = image;
    CKALVETRA keying;
    keying.ContractBack32bit(few.data(), 24, 24, 96, 24);
    keying.ContractBack32bit(image.data(), 24, 24, 96, INT_MAX);
    EXPECT_EQ(few, image);
    return image;
  });
}

// Windows without any pixel, far outside of 32 bits.
TEST(CornerCases, KernelsWithoutLobes) {
  for (const int lobes : {-300000000, INT_MIN, 0}) {
    expectTheSame([lobes] {
      Bytes source = kalvetra::test::noise(64 * 64 * 4, 2), result(16 * 16 * 4, 9);
      CImagingZEP().DF_WH32bit5_1(source.data(), 64, 64, 256, result.data(), 8, 8, 32, 0, lobes);
      CImagingZEP().DF_WH32bit5_1(source.data(), 8, 8, 256, result.data(), 16, 16, 64, 0, lobes);
      return result;
    });
  }
}

// Only the common area is rendered, each frame with its own row length; the rest of the output is left as it was.
TEST(CornerCases, FramesOfDifferentSizes) {
  struct Size {
    int width, height;
  };
  const Size sizes[] = {{37, 21}, {30, 25}, {350, 4}, {5, 330}, {1, 1}};
  for (const Size& from : sizes) {
    for (const Size& to : sizes) {
      const Bytes frame = kalvetra::test::greenScreen(from.width, from.height, 4);
      for (const int options : {0, 1}) {
        kalvetra::KeySettings settings = kalvetra::defaultSettings();
        settings.keyColor = {34 / 255.0, 134 / 255.0, 60 / 255.0};
        settings.deBlocking = settings.edgeContract = settings.edgeBlur = options;
        settings.clipBlack = 20 * options;
        expectTheSame([&] {
          Bytes out(static_cast<std::size_t>(to.width * to.height) * 4, 77);
          kalvetra::render(settings, kalvetra::packedFrame(frame.data(), from.width, from.height),
                           kalvetra::packedFrame(out.data(), to.width, to.height));
          const std::size_t rightmost = static_cast<std::size_t>(to.width) * 4 - 1;
          EXPECT_TRUE(to.width <= from.width || out[rightmost] == 77);
          EXPECT_TRUE(to.height <= from.height || out.back() == 77);
          return out;
        });
      }
    }
  }
}

// The plain form would take hours here; by hand: the ramp from red 255 to blue 255 ends one step of many short of its
// end.
TEST(CornerCases, ARampLongerThanItsNumbersCanCount) {
  constexpr int kWidth = 9000000;
  if (kalvetra::cpuLevels().size() < 2) GTEST_SKIP() << "this machine has no vectors";
  Bytes row(std::size_t{kWidth} * 4);
  row[1] = row[2] = 255;
  row[row.size() - 4] = 255;
  CKALVETRA().ExpandBack32bit8(row.data(), kWidth, 1, kWidth * 4, 0, 255, 0);
  EXPECT_EQ(254, row[row.size() - 8]);
  EXPECT_EQ(0, row[row.size() - 7]);
  EXPECT_EQ(127, row[kWidth / 2 * std::size_t{4}]);
}

}  // namespace
