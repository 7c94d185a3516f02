// The views of a matte on a ramp of all alpha levels.
#include "analysis/matte_views.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using namespace kalvetra;
using Pixel = std::array<unsigned char, 4>;  // alpha, red, green, blue

// Where a format has its alpha, red, green and blue.
std::array<int, 4> placesOf(PixelFormat format) {
  if (format == PixelFormat::Argb8) return {0, 1, 2, 3};
  return format == PixelFormat::Bgra8 ? std::array{3, 2, 1, 0} : std::array{3, 0, 1, 2};
}

Pixel pixelAt(const ConstFrame& frame, int x, int y) {
  Pixel pixel;
  for (std::size_t i = 0; i < 4; ++i) pixel[i] = frame.row(y)[4 * x + placesOf(frame.format)[i]];
  return pixel;
}

TEST(MatteViews, ShowAndCountEveryLevelInEveryByteOrder) {
  const Pixel nearlyClear{255, 255, 40, 40}, nearlyOpaque{255, 40, 120, 255};
  for (const PixelFormat format : {PixelFormat::Argb8, PixelFormat::Bgra8, PixelFormat::Rgba8}) {
    std::vector<unsigned char> ramp(2 * 128 * 4 + 8, 77), matte(ramp.size()), status(ramp.size());
    const Frame keyed{ramp.data(), 128 * 4 + 8, 128, 2, format};
    for (int level = 0; level < 256; ++level) {
      keyed.row(level / 128)[level % 128 * 4 + placesOf(format)[0]] = static_cast<unsigned char>(level);
    }
    // Upwards in memory, in another byte order.
    const Frame grey{matte.data() + 128 * 4, -128 * 4, 128, 2, PixelFormat::Rgba8};
    const Frame shown = packedFrame(status.data(), 128, 2, PixelFormat::Bgra8);
    showMatte(keyed, grey);
    const MatteStatus counted = showStatus(keyed, shown);
    EXPECT_EQ(1, counted.clear);
    EXPECT_EQ(25, counted.almostClear);
    EXPECT_EQ(204, counted.partial);
    EXPECT_EQ(25, counted.almostOpaque);
    EXPECT_EQ(1, counted.opaque);
    MatteStatus twice = counted;
    twice += counted;
    EXPECT_EQ(512, twice.pixels());
    const MatteStatus inPlace = showStatus(keyed, keyed);
    EXPECT_EQ(204, inPlace.partial);
    for (int i = 0; i < 256; ++i) {
      const auto level = static_cast<unsigned char>(i);
      const Pixel levelGrey{255, level, level, level};
      EXPECT_EQ(levelGrey, pixelAt(grey, i % 128, i / 128));
      const Pixel expected = i >= 1 && i <= 25 ? nearlyClear : i >= 230 && i <= 254 ? nearlyOpaque : levelGrey;
      EXPECT_EQ(expected, pixelAt(shown, i % 128, i / 128)) << i;
      EXPECT_EQ(expected, pixelAt(keyed, i % 128, i / 128)) << i;
    }
  }
}

}  // namespace
