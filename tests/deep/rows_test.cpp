#include "deep/rows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "cpu/cpu_level.h"

using namespace kalvetra;

namespace {

constexpr int kWidth = 37;  // no whole number of vectors

struct Levels {
  float red, green, blue, alpha;
  bool operator==(const Levels&) const = default;
};

// The pixel as every level of CPU reads it at the first, a middle and the last place of a row.
Levels loaded(const void* pixel, PixelFormat format, bool premultiplied = false, bool blueScreen = false) {
  const auto* bytes = static_cast<const unsigned char*>(pixel);
  const auto size = static_cast<std::size_t>(pixelBytes(format));
  std::vector<unsigned char> row(kWidth * size);
  for (std::size_t i = 0; i < row.size(); ++i) row[i] = bytes[i % size];
  ConstFrame frame = packedFrame<const unsigned char>(row.data(), kWidth, 1, format);
  frame.premultiplied = premultiplied;
  Levels first{};
  for (const CpuLevel level : cpuLevels()) {
    const CpuLevelScope scope(level);
    deep::RowBuffer rows(kWidth, 2);
    const deep::Row out = rows.row(1);
    loadRow(frame, 0, blueScreen, out);
    if (level == CpuLevel::Scalar) first = {out.red[0], out.green[0], out.blue[0], out.alpha[0]};
    for (const int x : {0, 18, kWidth - 1}) {
      EXPECT_EQ((Levels{out.red[x], out.green[x], out.blue[x], out.alpha[x]}), first) << cpuLevelName(level) << x;
    }
  }
  return first;
}

Levels loaded(std::vector<float> rgba, bool premultiplied = false) {
  return loaded(rgba.data(), PixelFormat::RgbaF32, premultiplied);
}

TEST(DeepRows, TakeEveryFormat) {
  const unsigned char bytes[]{10, 20, 40, 50};
  EXPECT_EQ(loaded(bytes, PixelFormat::Argb8), (Levels{20, 40, 50, 10}));
  EXPECT_EQ(loaded(bytes, PixelFormat::Bgra8), (Levels{40, 20, 10, 50}));
  EXPECT_EQ(loaded(bytes, PixelFormat::Rgba8), (Levels{10, 20, 40, 50}));
  EXPECT_EQ(loaded(bytes, PixelFormat::Rgba8, false, true), (Levels{10, 40, 20, 50}));
  EXPECT_EQ(loaded(bytes, PixelFormat::Rgba8, true), (Levels{51, 102, 204, 50}));
  EXPECT_EQ(loaded({0.2f, -0.5f, 2.0f, 0.6f}), (Levels{0.2f * 255, -0.5f * 255, 510, 0.6f * 255}));
  EXPECT_EQ(loaded({0.25f, -0.5f, 2.0f, 0.5f}, true), (Levels{127.5f, -255, 1020, 127.5f}));
  EXPECT_EQ(loaded({0.25f, -0.5f, 2.0f, 0.0f}, true), (Levels{0, 0, 0, 0}));
}

TEST(DeepRows, MendWhatIsNoNumber) {
  const float nan = std::nanf(""), infinite = std::numeric_limits<float>::infinity(), most = 65504.0f * 255.0f;
  EXPECT_EQ(loaded({nan, infinite, -infinite, nan}), (Levels{0, most, -most, 0}));
  EXPECT_EQ(loaded({1e30f, -1e30f, 0.0f, infinite}), (Levels{most, -most, 0, 255}));
  EXPECT_EQ(loaded({1e30f, -1e-30f, 0.0f, -infinite}), (Levels{most, -1e-30f * 255, 0, 0}));
  EXPECT_EQ(loaded({1e30f, nan, 1.0f, 1e-30f}, true), (Levels{most, 0, most, 1e-30f * 255}));
}

}  // namespace
