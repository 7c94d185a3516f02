// Frames of every format and stride through the render call, against the packed straight picture.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "engine/pixel_formats.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using kalvetra::test::Bytes;

constexpr int kWidth = 37, kHeight = 22;
constexpr unsigned char kGap = 0xA5;

// Where alpha, red, green and blue stand in a pixel.
constexpr std::array<std::array<std::size_t, 4>, 3> kPlaces{{{0, 1, 2, 3}, {3, 2, 1, 0}, {3, 0, 1, 2}}};

enum class Rows { Packed, Padded, Upwards };

struct Form {
  PixelFormat format;
  bool premultiplied;
  Rows rows;
};

std::vector<Form> allForms() {
  std::vector<Form> all;
  for (const PixelFormat format : {PixelFormat::Argb8, PixelFormat::Bgra8, PixelFormat::Rgba8}) {
    for (const bool premultiplied : {false, true}) {
      for (const Rows rows : {Rows::Packed, Rows::Padded, Rows::Upwards}) all.push_back({format, premultiplied, rows});
    }
  }
  return all;
}

// A picture in memory in some form; the gaps between its rows hold kGap.
struct Stored {
  explicit Stored(const Form& f) : form(f), step(4 * kWidth + (f.rows == Rows::Packed ? 0 : 12)) {
    bytes.assign(static_cast<std::size_t>(step * kHeight), kGap);
  }
  Frame frame() {
    const bool up = form.rows == Rows::Upwards;
    return {bytes.data() + (up ? step * (kHeight - 1) : 0),
            up ? -step : step,
            kWidth,
            kHeight,
            form.format,
            form.premultiplied};
  }
  // Straight Argb8 in or out, by the rules written out once more; "as it is": colours stay as they are.
  void put(const Bytes& argb) { put(argb, form.premultiplied); }
  void putAsItIs(const Bytes& argb) { put(argb, false); }
  Bytes asItIs() {
    Bytes argb(static_cast<std::size_t>(4 * kWidth * kHeight));
    forEachByte([&](const unsigned char& stored, std::size_t pixel, std::size_t c) { argb[pixel * 4 + c] = stored; });
    return argb;
  }
  Bytes straight() {
    Bytes argb = asItIs();
    for (std::size_t i = 0; form.premultiplied && i < argb.size(); ++i) {
      const double alpha = argb[i / 4 * 4];
      if (i % 4 == 0) continue;
      argb[i] = alpha == 0 ? 0 : static_cast<unsigned char>(std::min(std::floor(argb[i] * 255 / alpha + 0.5), 255.0));
    }
    return argb;
  }
  template <class Visit>
  void forEachByte(Visit visit) {
    const Frame all = frame();
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) {
        for (std::size_t c = 0; c < 4; ++c) {
          visit(all.row(y)[static_cast<std::size_t>(4 * x) + kPlaces[static_cast<std::size_t>(form.format)][c]],
                static_cast<std::size_t>(y * kWidth + x), c);
        }
      }
    }
  }

  Form form;
  std::ptrdiff_t step;
  Bytes bytes;

 private:
  void put(const Bytes& argb, bool multiplies) {
    forEachByte([&](unsigned char& stored, std::size_t pixel, std::size_t c) {
      const int value = argb[pixel * 4 + c], alpha = argb[pixel * 4];
      stored = static_cast<unsigned char>(multiplies && c != 0 ? value * alpha / 255 : value);
    });
  }
};

std::string nameOf(const Form& f) {
  return "format " + std::to_string(static_cast<int>(f.format)) + (f.premultiplied ? " premultiplied" : "") + " rows " +
         std::to_string(static_cast<int>(f.rows));
}

Stored stored(const Form& form, const Bytes& argb) {
  Stored picture(form);
  picture.put(argb);
  return picture;
}

// Every fifth pixel has an alpha of its own, the others are opaque.
Bytes picture() {
  Bytes frame = test::greenScreen(kWidth, kHeight, 3);
  for (std::size_t i = 0; i < frame.size(); i += 4) frame[i] = static_cast<unsigned char>(i % 20 == 0 ? i / 7 : 255);
  return frame;
}

std::vector<KeySettings> someSettings() {
  KeySettings key = defaultSettings();
  key.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  std::vector<KeySettings> all(4, key);
  all[1].smoothBG = 0;
  all[1].deBlocking = all[1].edgeContract = all[1].edgeBlur = 1;
  all[2].view = 1;
  all[2].clipBlack = 10;
  all[3].view = 0;
  return all;
}

// The bytes that a picture's view is to have in that form.
Bytes wantedBytes(const KeySettings& settings, Stored& input, const Form& to, Scan scan = Scan::Whole) {
  Stored output(to);
  if (settings.view == 0 && input.form.premultiplied && to.premultiplied) {
    output.putAsItIs(input.asItIs());
  } else {
    output.put(test::rendered(settings, input.straight(), kWidth, kHeight, scan));
  }
  return output.bytes;
}

TEST(FrameFormats, GiveWhatThePackedStraightPictureGives) {
  test::atEveryLevel([&](CpuLevel level) {
    for (const KeySettings& settings : someSettings()) {
      for (const Scan scan : {Scan::Whole, Scan::Fields}) {
        for (const Form& from : allForms()) {
          Stored input = stored(from, picture());
          // Every form on one side meets the plain one and itself on the other.
          for (const Form& to : {from, Form{PixelFormat::Argb8, false, Rows::Packed}}) {
            Stored output(to);
            render(settings, input.frame(), output.frame(), {scan});
            ASSERT_EQ(wantedBytes(settings, input, to, scan), output.bytes)
                << cpuLevelName(level) << ": " << nameOf(from) << " to " << nameOf(to) << ", view " << settings.view;
          }
        }
      }
    }
  });
}

TEST(FrameFormats, AFrameMayBeRenderedInItsOwnMemory) {
  test::atEveryLevel([&](CpuLevel level) {
    for (const KeySettings& settings : someSettings()) {
      for (const Form& from : allForms()) {
        for (Form to : allForms()) {
          if (to.rows != from.rows) continue;
          Stored memory = stored(from, picture());
          const Bytes wanted = wantedBytes(settings, memory, to);
          const Frame input = memory.frame();
          memory.form = to;
          render(settings, input, memory.frame());
          ASSERT_EQ(wanted, memory.bytes) << cpuLevelName(level) << ": " << nameOf(from);
        }
      }
    }
  });
}

// Whatever the bytes: colours may exceed their alpha. Opaque pixels stay where nothing is keyed, too.
TEST(FrameFormats, PremultipliedPicturesThatAreOnlyShownKeepTheirBytes) {
  KeySettings shown = defaultSettings(), notKeyed = defaultSettings();
  shown.view = 0;
  for (const Form& from : allForms()) {
    for (const Form& to : allForms()) {
      if (!from.premultiplied || !to.premultiplied) continue;
      Stored input(from), output(to);
      Bytes wanted = test::noise(4 * kWidth * kHeight, 5);
      input.putAsItIs(wanted);
      render(shown, input.frame(), output.frame());
      ASSERT_EQ(wanted, output.asItIs()) << nameOf(from) << " to " << nameOf(to);
      for (std::size_t i = 0; i < wanted.size(); i += 4) wanted[i] = 255;
      input.putAsItIs(wanted);
      render(notKeyed, input.frame(), output.frame());
      ASSERT_EQ(wanted, output.asItIs()) << nameOf(from) << " to " << nameOf(to);
    }
  }
}

TEST(FrameFormats, PlatesComeInEveryForm) {
  const KeySettings settings = someSettings().front();
  for (const Form& form : allForms()) {
    for (const Scan scan : {Scan::Whole, Scan::Fields}) {
      Stored input = stored(form, picture()), output(form);
      const Bytes source = input.straight();
      Bytes wanted(source.size());
      EXPECT_TRUE(renderPlate(settings, packedFrame(source.data(), kWidth, kHeight),
                              packedFrame(wanted.data(), kWidth, kHeight), {scan}));
      EXPECT_TRUE(renderPlate(settings, input.frame(), output.frame(), {scan}));
      EXPECT_EQ(stored(form, wanted).bytes, output.bytes) << nameOf(form);
    }
  }
}

TEST(FrameFormats, AlphaIsMultipliedDownwardsAndDividedToTheNearest) {
  Bytes pixels{128, 255, 100, 1, 0, 9, 8, 7, 255, 3, 4, 5};
  premultiply(pixels.data(), 3);
  EXPECT_EQ((Bytes{128, 128, 50, 0, 0, 0, 0, 0, 255, 3, 4, 5}), pixels);
  // 50 * 255 / 128 is 99.6, 3 * 255 / 2 is 382.5, 1 * 255 / 2 is 127.5.
  pixels = {128, 128, 50, 129, 2, 1, 2, 3, 0, 1, 2, 3};
  unpremultiply(pixels.data(), 3);
  EXPECT_EQ((Bytes{128, 255, 100, 255, 2, 128, 255, 255, 0, 0, 0, 0}), pixels);
}

}  // namespace
