// Frames keyed against a plate that is given.
#include <gtest/gtest.h>

#include <algorithm>

#include "engine/background_plate.h"
#include "engine/pixel_formats.h"
#include "engine/render_record.h"
#include "imaging/CImagingZEP.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using namespace kalvetra;
using test::Bytes;

KeySettings greenKey() {
  KeySettings settings = defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return settings;
}

// A picture in memory of its own, in any format, its rows padded and perhaps from the bottom up.
struct Stored {
  Stored(const Bytes& argb, int width, int height, PixelFormat format = PixelFormat::Argb8, bool upwards = false)
      : step(4 * width + 8), bytes(static_cast<std::size_t>(step * height)) {
    const std::ptrdiff_t last = step * (height - 1);
    frame = {bytes.data() + (upwards ? last : 0), upwards ? -step : step, width, height, format};
    for (int y = 0; y < height; ++y) writeRow(frame, y, argb.data() + std::ptrdiff_t{4} * width * y);
  }
  Bytes argb() const {
    Bytes all(static_cast<std::size_t>(4 * frame.width * frame.height));
    for (int y = 0; y < frame.height; ++y) readRow(frame, y, all.data() + std::ptrdiff_t{4} * frame.width * y);
    return all;
  }

  std::ptrdiff_t step;
  Bytes bytes;
  Frame frame;
};

// Threads that come one after the other.
const Workers kTurns{3, [](int parts, const std::function<void(int)>& work) {
                       for (int part = parts; part-- > 0;) work(part);
                     }};

Bytes keyed(const KeySettings& settings, const ConstFrame& frame, const KnownPlate* plate, Scan scan = Scan::Whole) {
  Stored out(Bytes(static_cast<std::size_t>(4 * frame.width * frame.height), 77), frame.width, frame.height);
  render(settings, frame, out.frame, {scan, &kTurns, plate});
  return out.argb();
}

// The small plate that the engine makes of an opaque frame.
Bytes ownPlate(const KeySettings& settings, const Bytes& argb, int width, int height) {
  Bytes working(argb.size());
  reverseBytes(argb.data(), working.data(), argb.size() / 4);
  const PlateSize size = plateSize(width, height);
  Bytes plate(static_cast<std::size_t>(4 * size.width * size.height), 255), result(plate.size());
  CImagingZEP().DF_WH32bit5_1(working.data(), width, height, 4 * width, plate.data(), size.width, size.height,
                              4 * size.width, kLanczos, kReducingLobes);
  makePlate(makeRecord(settings, nullptr, nullptr, width, height), plate.data(), size);
  reverseBytes(plate.data(), result.data(), plate.size() / 4);
  return result;
}

constexpr PixelFormat kFormats[]{PixelFormat::Argb8, PixelFormat::Bgra8, PixelFormat::Rgba8};

// Small, as the engine makes it, and as renderPlate shows it at the frame's size.
TEST(KnownPlates, TheEnginesOwnPlateGivesTheEnginesOwnKey) {
  constexpr int kWidth = 401, kHeight = 47;
  const Bytes picture = test::greenScreen(kWidth, kHeight, 3);
  KeySettings settings = greenKey();
  settings.deBlocking = settings.edgeBlur = 1;
  const PlateSize size = plateSize(kWidth, kHeight);
  test::atEveryLevel([&](CpuLevel level) {
    const Bytes small = ownPlate(settings, picture, kWidth, kHeight);
    for (int step = 0; step < 9; ++step) {
      SCOPED_TRACE(testing::Message() << cpuLevelName(level) << ", step " << step);
      const PixelFormat plateFormat = kFormats[step / 3];
      const Stored frame(picture, kWidth, kHeight, kFormats[step % 3], step % 2 != 0);
      const Bytes wanted = keyed(settings, frame.frame, nullptr);
      const Stored kept(small, size.width, size.height, plateFormat, step % 2 == 0);
      const KnownPlate own{kept.frame};
      EXPECT_TRUE(wanted == keyed(settings, frame.frame, &own));
      const Stored full(picture, kWidth, kHeight, plateFormat), shown(picture, kWidth, kHeight);
      EXPECT_TRUE(renderPlate(settings, frame.frame, full.frame));
      const KnownPlate enlarged{full.frame};
      EXPECT_TRUE(wanted == keyed(settings, frame.frame, &enlarged));
      EXPECT_TRUE(renderPlate(settings, frame.frame, shown.frame, {Scan::Whole, nullptr, &enlarged}));
      EXPECT_TRUE(full.argb() == shown.argb());
    }
  });
}

TEST(KnownPlates, EachFieldIsKeyedAgainstThePlateAtItsOwnHeight) {
  constexpr int kWidth = 60, kHeight = 31;
  const Stored frame(test::greenScreen(kWidth, kHeight, 4), kWidth, kHeight);
  const Stored picture(test::greenScreen(33, 20, 5), 33, 20);
  const KnownPlate plate{picture.frame, true, 2.0f};
  test::atEveryLevel([&](CpuLevel) {
    const Bytes woven = keyed(greenKey(), frame.frame, &plate, Scan::Fields);
    for (const int first : {0, 1}) {
      const Bytes field = keyed(greenKey(), fieldOf(ConstFrame(frame.frame), first), &plate);
      for (int y = first; y < kHeight; y += 2) {
        EXPECT_TRUE(std::equal(woven.begin() + y * 4 * kWidth, woven.begin() + (y + 1) * 4 * kWidth,
                               field.begin() + y / 2 * 4 * kWidth));
      }
    }
  });
}

TEST(KnownPlates, OfAnySizeGiveTheSameBytesAtEveryLevel) {
  constexpr std::pair<int, int> kSizes[]{{1, 1}, {1, 9}, {9, 1}, {2, 2}, {17, 33}, {70, 41}, {331, 5}};
  std::uint64_t all = 0;
  for (const auto& [width, height] : kSizes) {
    for (const auto& [plateWidth, plateHeight] : kSizes) {
      SCOPED_TRACE(testing::Message() << width << " x " << height << ", plate " << plateWidth << " x " << plateHeight);
      const int step = width + plateHeight;
      const Stored frame(test::greenScreen(width, height, 1), width, height, kFormats[step % 3]);
      const Stored picture(test::greenScreen(plateWidth, plateHeight, 2), plateWidth, plateHeight);
      for (int kind = 0; kind < 4; ++kind) {
        KeySettings settings = greenKey();
        settings.screen = kind == 3 ? 1 : 0;
        settings.edgeBlur = kind == 2 ? 1 : 0;
        const KnownPlate plate{picture.frame, kind != 0, 2.0f};
        Bytes plain;
        test::atEveryLevel([&](CpuLevel level) {
          const Bytes result = keyed(settings, frame.frame, &plate);
          if (level == CpuLevel::Scalar) plain = result;
          EXPECT_TRUE(plain == result) << cpuLevelName(level) << ", kind " << kind;
        });
        all = all * 31 + test::hashOf(plain);
      }
    }
  }
  EXPECT_EQ(3791123794338528325u, all);
}

TEST(KnownPlates, WithoutPixelsAreNone) {
  const Stored frame(test::greenScreen(20, 10, 1), 20, 10);
  const Bytes wanted = keyed(greenKey(), frame.frame, nullptr);
  for (const ConstFrame& none : {packedFrame<const unsigned char>(nullptr, 5, 5), packedFrame(frame.bytes.data(), 0, 5),
                                 packedFrame(frame.bytes.data(), 5, -1)}) {
    const KnownPlate plate{none};
    EXPECT_TRUE(wanted == keyed(greenKey(), frame.frame, &plate));
  }
}

}  // namespace
