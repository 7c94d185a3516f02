// Frames of floats in the shared library: the deep lane's own floats.
#include <array>
#include <cstring>
#include <limits>
#include <vector>

#include "deep/render.h"
#include "parameters/parameter_table.h"
#include "refine/finish.h"
#include "tests/library/library_calls.h"

namespace {

using namespace kalvetra::test;
using kalvetra::ConstFrame;
using kalvetra::Frame;
using kalvetra::PixelFormat;

constexpr int kWidth = 97, kHeight = 60;
const int kFormats[]{KALVETRA_BGRA8, KALVETRA_RGBAF32};

// Rows with a gap after each, upwards or downwards in memory.
struct Held {
  explicit Held(int format, bool upwards = false, bool premultiplied = false)
      : pixel(format == KALVETRA_RGBAF32 ? 16 : 4),
        stride(pixel * kWidth + 20),
        memory(static_cast<std::size_t>(stride / 4 * kHeight), 7.0f) {
    unsigned char* const bytes = reinterpret_cast<unsigned char*>(memory.data());
    frame = {bytes + (upwards ? stride * (kHeight - 1) : 0),
             upwards ? -stride : stride,
             kWidth,
             kHeight,
             format,
             premultiplied};
  }
  // As the engine knows it.
  Frame engine() const {
    return {static_cast<unsigned char*>(frame.data),
            frame.stride,
            kWidth,
            kHeight,
            frame.format == KALVETRA_RGBAF32 ? PixelFormat::RgbaF32 : PixelFormat::Bgra8,
            frame.premultiplied != 0};
  }
  Bytes pixels() const {
    Bytes all;
    for (int y = 0; y < kHeight; ++y) {
      all.insert(all.end(), engine().row(y), engine().row(y) + pixel * kWidth);
    }
    return all;
  }

  std::ptrdiff_t pixel, stride;
  std::vector<float> memory;
  kalvetra_frame frame;
};

// A green screen with a subject and falling alpha; of floats, finer than bytes, with colours below black, above white
// and such as are no numbers.
Held source(int format, bool upwards = false, bool premultiplied = false) {
  Held held(format, upwards, premultiplied);
  const Bytes argb = picture(kWidth, kHeight);
  for (int i = 0; i < kWidth * kHeight; ++i) {
    unsigned char* const at = held.engine().row(i / kWidth) + held.pixel * (i % kWidth);
    const unsigned char* const from = &argb[static_cast<std::size_t>(4 * i)];
    for (int c = 0; c < 4; ++c) {
      if (format == KALVETRA_BGRA8) at[c] = from[3 - c];
      const float fine = c == 3 ? from[0] / 255.0f : (from[c + 1] + 0.01f * static_cast<float>(i % 50)) / 255.0f;
      if (format == KALVETRA_RGBAF32) reinterpret_cast<float*>(at)[c] = fine;
    }
  }
  if (format == KALVETRA_RGBAF32) {
    float* const row = reinterpret_cast<float*>(held.engine().row(3));
    row[1] = -0.25f;
    row[4] = 3.5f;
    row[9] = std::numeric_limits<float>::quiet_NaN();
    row[12] = std::numeric_limits<float>::infinity();
  }
  return held;
}

kalvetra::KeySettings directSettings() {
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return settings;
}

// What `draw` into a frame of floats makes, in a frame of `format`.
template <class Draw>
Bytes direct(int format, bool premultiplied, const Draw& draw) {
  const Held floats(KALVETRA_RGBAF32, false, premultiplied), bytes(KALVETRA_BGRA8, false, premultiplied);
  draw(floats.engine());
  if (format == KALVETRA_RGBAF32) return floats.pixels();
  kalvetra::toEightBits(floats.engine(), bytes.engine());
  return bytes.pixels();
}

TEST(DeepLibrary, KeysEveryPairOfFormatsAsTheDeepLaneDoes) {
  const Settings settings = keyingGreen();
  for (const int from : kFormats) {
    for (const int to : kFormats) {
      if (from == KALVETRA_BGRA8 && to == from) continue;
      for (int turn = 0; turn < 6; ++turn) {
        const bool premultiplied = turn >= 3;
        const Held input = source(from, turn % 2 == 1, premultiplied), output(to, turn % 4 > 1, premultiplied);
        const auto keyed = [&](const Frame& floats) { renderDeep(directSettings(), input.engine(), floats); };
        const auto plate = [&](const Frame& floats) { renderPlateDeep(directSettings(), input.engine(), floats); };
        const kalvetra_options options = withThreads(std::array{1, 2, 7}[static_cast<std::size_t>(turn % 3)]);
        ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &output.frame, &options));
        EXPECT_EQ(direct(to, premultiplied, keyed), output.pixels()) << from << " " << to << " " << turn;
        EXPECT_EQ(7.0f, output.memory.back()) << "outside";
        ASSERT_EQ(1, kalvetra_render_plate(settings.get(), &input.frame, &output.frame, &options));
        EXPECT_EQ(direct(to, premultiplied, plate), output.pixels()) << from << " " << to << " " << turn;
      }
    }
  }
}

TEST(DeepLibrary, KeysInPlace) {
  const Settings settings = keyingGreen();
  Held floats = source(KALVETRA_RGBAF32), bytes = source(KALVETRA_RGBAF32);
  const auto keyed = [&](const Frame& to) { renderDeep(directSettings(), source(KALVETRA_RGBAF32).engine(), to); };
  ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &floats.frame, &floats.frame, nullptr));
  EXPECT_EQ(direct(KALVETRA_RGBAF32, false, keyed), floats.pixels());
  Held shared(KALVETRA_BGRA8);  // laid into the memory of its own input
  shared.frame.data = bytes.frame.data;
  ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &bytes.frame, &shared.frame, nullptr));
  EXPECT_EQ(direct(KALVETRA_BGRA8, false, keyed), shared.pixels());
}

TEST(DeepLibrary, CountsAlphaRoundedToEightBits) {
  const Settings settings = keyingGreen();
  const Held input = source(KALVETRA_RGBAF32), floats(KALVETRA_RGBAF32), bytes(KALVETRA_BGRA8);
  kalvetra_status ofFloats{}, ofBytes{};
  ASSERT_EQ(KALVETRA_OK, kalvetra_render_status(settings.get(), &input.frame, &floats.frame, nullptr, &ofFloats));
  ASSERT_EQ(KALVETRA_OK, kalvetra_render_status(settings.get(), &input.frame, &bytes.frame, nullptr, &ofBytes));
  EXPECT_EQ(0, std::memcmp(&ofFloats, &ofBytes, sizeof ofBytes));
  EXPECT_LT(0, ofBytes.almost_clear + ofBytes.partial);
}

// An opaque green screen in bytes, and in floats that round to them.
struct Screen {
  Screen() {
    floats.reserve(argb.size());
    fine.data = floats.data();
    for (std::size_t i = 0; i < argb.size(); ++i) {
      floats.push_back(i % 4 == 3 ? 1.0f : (static_cast<float>(argb[i + 1]) + 0.3f) / 255.0f);
    }
  }
  Bytes argb = greenScreen(160, 90, 3);
  std::vector<float> floats;
  kalvetra_frame bytes = packed(argb, 160, 90), fine{nullptr, 16 * 160, 160, 90, KALVETRA_RGBAF32, 0};
};

TEST(DeepLibrary, FindsTheSameInFloatsAsInTheBytesThatTheyRoundTo) {
  Screen screen;
  kalvetra_backdrop ofBytes{}, ofFloats{};
  ASSERT_EQ(KALVETRA_OK, kalvetra_pick(&screen.bytes, 1, &ofBytes));
  ASSERT_EQ(KALVETRA_OK, kalvetra_pick(&screen.fine, 1, &ofFloats));
  EXPECT_STREQ(ofBytes.reason, ofFloats.reason);
  EXPECT_EQ(ofBytes.confidence, ofFloats.confidence);
  const Settings settings = keyingGreen();
  ASSERT_EQ(KALVETRA_OK, kalvetra_propose(&screen.fine, 1, nullptr, nullptr, settings.get()));
  EXPECT_LT(10, kalvetra_settings_reason(settings.get(), "screen-gain", nullptr, 0));
}

TEST(DeepLibrary, PlatesOfEitherDepthGoWithFramesOfEither) {
  const Settings settings = keyingGreen();
  Screen screen;
  for (const kalvetra_frame* made : {&screen.bytes, &screen.fine}) {
    kalvetra_plate* plate = nullptr;
    ASSERT_EQ(KALVETRA_OK, kalvetra_plate_fit(settings.get(), made, nullptr, 1, nullptr, &plate));
    const PlateObject owner(plate);
    ASSERT_TRUE(kalvetra_plate_facts_of(plate)->sure) << kalvetra_plate_facts_of(plate)->why;
    kalvetra_options options = withThreads(1);
    options.plate = plate;
    Bytes exact(screen.argb.size()), deep(screen.argb.size());
    const kalvetra_frame outputs[]{packed(exact, 160, 90), packed(deep, 160, 90)};
    ASSERT_EQ(1, kalvetra_render_plate(settings.get(), &screen.bytes, &outputs[0], &options));
    ASSERT_EQ(1, kalvetra_render_plate(settings.get(), &screen.fine, &outputs[1], &options));
    EXPECT_LT(60, exact[4 * (90 * 20 + 20) + 2]);  // green
    for (std::size_t i = 0; i < exact.size(); ++i) ASSERT_NEAR(exact[i], deep[i], 3) << i;
  }
}

TEST(DeepLibrary, RefusesFloatsThatLieWrong) {
  const Settings settings = keyingGreen();
  Held held(KALVETRA_RGBAF32);
  const auto refused = [&](std::ptrdiff_t data, std::ptrdiff_t stride, const std::string& sentence) {
    kalvetra_frame bad = held.frame;
    bad.data = static_cast<unsigned char*>(bad.data) + data;
    bad.stride = stride;
    EXPECT_EQ(KALVETRA_BAD_FRAME, kalvetra_render(settings.get(), &bad, &bad, nullptr));
    EXPECT_EQ("input: " + sentence, kalvetra_last_error());
  };
  refused(2, held.stride, "its data is at no multiple of 4 bytes, where floats lie; give it memory of floats");
  refused(0, held.stride + 2, "a stride of 1574 bytes is no multiple of 4, a float's; give one that is");
  refused(0, 4 * kWidth, "a stride of 388 bytes is less than a row's 1552; rows may not overlap");
  EXPECT_EQ(1, kalvetra_deep_look());
}

// Bytes too, through the deep lane; in place as well, though what comes after the key reads the source once more.
TEST(DeepLibrary, WhatComesAfterTheKeyIsDoneToFramesOfAnyFormat) {
  const Settings settings = keyingGreen();
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "despill", "material"));
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "refine", "on"));
  kalvetra::KeySettings same = directSettings();
  same.despill = same.refine = 1;
  for (const int format : kFormats) {
    for (const bool premultiplied : {false, true}) {
      const Held input = source(format, false, premultiplied), output(format, true, premultiplied);
      const auto keyed = [&](const Frame& floats) {
        renderDeep(same, input.engine(), floats);
        kalvetra::refine::finishKey({input.engine(), nullptr, same}, floats);
      };
      const Bytes expected = direct(format, premultiplied, keyed);
      ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &output.frame, nullptr));
      EXPECT_EQ(expected, output.pixels()) << format << premultiplied;
      ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &input.frame, nullptr));
      EXPECT_EQ(expected, input.pixels()) << "in place " << format << premultiplied;
    }
  }
}

// A plate that was made for settings that go by materials has those of all its frames.
TEST(DeepLibrary, APlateHasTheMaterialsOfItsShot) {
  const Settings settings = keyingGreen();
  ASSERT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "despill", "material"));
  const Held input = source(KALVETRA_RGBAF32), alone(KALVETRA_RGBAF32), both(KALVETRA_RGBAF32);
  const Held brown = source(KALVETRA_RGBAF32);  // the same, and more of another colour before the screen
  for (int y = 0; y < kHeight / 2; ++y) {
    float* const row = reinterpret_cast<float*>(brown.engine().row(y));
    for (int x = 0; x < kWidth; ++x) row[4 * x] = 0.6f, row[4 * x + 1] = 0.45f, row[4 * x + 2] = 0.25f;
  }
  const auto keyedBy = [&](std::vector<kalvetra_frame> shot, const Held& output) {
    kalvetra_plate* made = nullptr;
    ASSERT_EQ(KALVETRA_OK, kalvetra_plate_fit(settings.get(), shot.data(), nullptr, shot.size(), nullptr, &made));
    const PlateObject plate(made);
    kalvetra_options options = withThreads(2);
    options.plate = plate.get();
    ASSERT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input.frame, &output.frame, &options));
  };
  keyedBy({input.frame}, alone);
  keyedBy({input.frame, brown.frame}, both);
  EXPECT_NE(alone.pixels(), both.pixels());
}

}  // namespace
