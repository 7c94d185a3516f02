// A blue screen is keyed as a green one in which green and blue have changed places.
#include <gtest/gtest.h>

#include <array>

#include "engine/inspection.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using test::Bytes;

constexpr int kWidth = 83, kHeight = 45;
constexpr PixelFormat kFormats[]{PixelFormat::Argb8, PixelFormat::Bgra8, PixelFormat::Rgba8};

Bytes swapped(Bytes picture, PixelFormat format) {
  constexpr std::array<std::pair<std::size_t, std::size_t>, 3> kPlaces{{{2, 3}, {1, 0}, {1, 2}}};
  const auto [green, blue] = kPlaces[static_cast<std::size_t>(format)];
  for (std::size_t i = 0; i < picture.size(); i += 4) std::swap(picture[i + green], picture[i + blue]);
  return picture;
}

struct Keyed {
  Bytes key, plate;
  bool operator==(const Keyed&) const = default;
};

Keyed keyed(const KeySettings& settings, const Bytes& frame, PixelFormat format, const RenderOptions& options) {
  Keyed out{Bytes(frame.size(), 77), Bytes(frame.size(), 77)};
  const ConstFrame input = packedFrame(frame.data(), kWidth, kHeight, format);
  render(settings, input, packedFrame(out.key.data(), kWidth, kHeight, format), options);
  renderPlate(settings, input, packedFrame(out.plate.data(), kWidth, kHeight, format), options);
  return out;
}

TEST(BlueScreen, IsKeyedLikeTheSwappedFrame) {
  test::Random random(31);
  const Bytes picture = test::greenScreen(30, 20, 2);
  test::atEveryLevel([&](CpuLevel level) {
    for (int round = 0; round < 48; ++round) {
      SCOPED_TRACE(testing::Message() << cpuLevelName(level) << ", round " << round);
      const PixelFormat format = kFormats[round % 3];
      KeySettings green = defaultSettings();
      for (const Parameter& p : kHostParameters) {
        if (p.value != nullptr) green.*p.value = random.within(p.minimum, p.maximum);
      }
      if (round % 4 != 0) green.clipBlack = 0, green.clipWhite = 100, green.view = 2;
      green.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
      KeySettings blue = green;
      std::swap(blue.keyColor[1], blue.keyColor[2]);
      blue.screen = 1;

      // In the order of the frame; a few pixels see through.
      Bytes frame = swapped(test::greenScreen(kWidth, kHeight, 5), PixelFormat::Argb8);
      const std::size_t alpha = format == PixelFormat::Argb8 ? 0 : 3;
      for (std::size_t i = 0; i < frame.size(); i += 4) frame[i + alpha] = i % 28 == 0 ? 90 : 255;
      const Bytes other = swapped(picture, PixelFormat::Argb8);
      const KnownPlate plate{packedFrame(picture.data(), 30, 20), true, 6.0f},
          otherPlate{packedFrame(other.data(), 30, 20), true, 6.0f};
      const Scan scan = round % 5 == 0 ? Scan::Fields : Scan::Whole;
      const bool given = round % 2 == 0;
      const Keyed wanted = keyed(green, swapped(frame, format), format, {scan, nullptr, given ? &otherPlate : nullptr});
      const Keyed found = keyed(blue, frame, format, {scan, nullptr, given ? &plate : nullptr});
      EXPECT_TRUE(wanted == (Keyed{swapped(found.key, format), swapped(found.plate, format)}));
    }
  });
}

TEST(BlueScreen, PixelsAreTreatedLikeThoseOfTheSwappedFrame) {
  const Bytes frame = test::greenScreen(kWidth, kHeight, 5), other = swapped(frame, PixelFormat::Argb8);
  KeySettings green = defaultSettings();
  green.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  KeySettings blue = green;
  blue.keyColor = {40 / 255.0, 70 / 255.0, 150 / 255.0};
  blue.screen = 1;
  for (int i = 0; i < kWidth * kHeight; i += 97) {
    EXPECT_EQ(treatmentAt(green, packedFrame(frame.data(), kWidth, kHeight), {}, i % kWidth, i / kWidth),
              treatmentAt(blue, packedFrame(other.data(), kWidth, kHeight), {}, i % kWidth, i / kWidth));
  }
}

// A colour on a line lies, with green and blue swapped, on the blue screen's line.
TEST(BlueScreen, ItsLinesLieInThePictureItself) {
  KeySettings settings = defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  const KeyLines green = keyLines(settings);
  settings.screen = 1;
  std::swap(settings.keyColor[1], settings.keyColor[2]);
  const KeyLines blue = keyLines(settings);
  const auto expectOn = [](Chroma line, Chroma from) {
    const RGB color = CImagingZEP().YIQtoRGB2({128.0f, from.I * 60.0f, from.Q * 60.0f});
    const auto byte = [](int v) { return static_cast<unsigned char>(v); };
    const Chroma at = chromaOf(CImagingZEP().RGBtoYIQ2(byte(color.R), byte(color.B), byte(color.G)));
    EXPECT_NEAR(0.0f, line.I * at.Q - line.Q * at.I, 1.5f);
    EXPECT_GT(dot(line, at), 20.0f);
    EXPECT_NEAR(1.0f, length(line), 1e-5f);
  };
  expectOn(blue.skinHue, green.skinHue);
  expectOn(blue.blueHue, green.blueHue);
  expectOn(blue.skinDespill, green.skinDespill);
  expectOn(blue.blueDespill, green.blueDespill);
  const YIQ key = CImagingZEP().RGBtoYIQ2(40, 70, 150);
  EXPECT_EQ(key.I, blue.key.I);
  EXPECT_EQ(key.Q, blue.key.Q);
}

}  // namespace
