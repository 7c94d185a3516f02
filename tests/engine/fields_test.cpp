// Keying field by field.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using kalvetra::KeySettings;
using kalvetra::test::Bytes;

KeySettings greenKey() {
  KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {40 / 255.0, 150 / 255.0, 70 / 255.0};
  return settings;
}

Bytes fields(const KeySettings& settings, const Bytes& input, int width, int height) {
  return kalvetra::test::rendered(settings, input, width, height, kalvetra::Scan::Fields);
}

Bytes whole(const KeySettings& settings, const Bytes& input, int width, int height) {
  return kalvetra::test::rendered(settings, input, width, height);
}

// Rows parity, parity + 2, ...
Bytes fieldOf(const Bytes& frame, int width, int height, int parity) {
  Bytes field;
  const int row = 4 * width;
  for (int y = parity; y < height; y += 2)
    field.insert(field.end(), frame.begin() + y * row, frame.begin() + (y + 1) * row);
  return field;
}

// An interlaced picture: its fields show two different scenes, with an alpha that varies.
Bytes interlaced(int width, int height) {
  Bytes frame = kalvetra::test::greenScreen(width, height, 1);
  const Bytes other = kalvetra::test::greenScreen(width, height, 99);
  for (int y = 1; y < height; y += 2) {
    for (int x = 0; x < width; ++x)
      std::memcpy(&frame[static_cast<std::size_t>(4 * (y * width + x))],
                  &other[static_cast<std::size_t>(4 * (y * width + (x + width / 2) % width))], 4);
  }
  for (std::size_t i = 0; i < frame.size(); i += 4)
    frame[i] = static_cast<unsigned char>(i % 44 == 0 ? 0 : i % 36 == 0 ? 90 : 255);
  return frame;
}

struct Case {
  const char* name;
  KeySettings settings;
};

std::vector<Case> casesWithoutEdgeWork() {
  std::vector<Case> cases{{"plate", greenKey()}};
  KeySettings s = greenKey();
  s.smoothBG = 0;
  cases.push_back({"color", s});
  s.deBlocking = 1;
  s.deBlockValue = 3;
  cases.push_back({"color, deblocked", s});
  s.smoothBG = 1;
  s.shadow = 40;
  cases.push_back({"plate, deblocked, lighter shadows", s});
  s.clipBlack = 10;
  s.clipWhite = 80;
  s.view = 1;
  cases.push_back({"clipped matte", s});
  s.view = 0;
  cases.push_back({"source", s});
  s = kalvetra::defaultSettings();
  cases.push_back({"no key colour", s});
  return cases;
}

TEST(Fields, AreKeyedAsTwoPictures) {
  for (const auto& [name, settings] : casesWithoutEdgeWork()) {
    for (const auto& [width, height] : {std::pair{64, 48}, {37, 21}, {8, 2}, {5, 3}, {9, 1}, {1, 1}}) {
      const Bytes input = interlaced(width, height);
      const Bytes keyed = fields(settings, input, width, height);
      for (const int parity : {0, 1}) {
        const int rows = (height + 1 - parity) / 2;
        if (rows == 0) continue;
        EXPECT_EQ(whole(settings, fieldOf(input, width, height, parity), width, rows),
                  fieldOf(keyed, width, height, parity))
            << name << ", " << width << " x " << height << ", field " << parity;
      }
    }
  }
}

TEST(Fields, NeverMix) {
  const int width = 48, height = 32;
  const Bytes input = interlaced(width, height);
  for (const auto& [name, settings] : casesWithoutEdgeWork()) {
    const Bytes before = fields(settings, input, width, height);
    for (const int parity : {0, 1}) {
      Bytes changed = input;
      for (int y = parity; y < height; y += 2) std::fill_n(changed.begin() + 4 * width * y, 4 * width, 200);
      const Bytes after = fields(settings, changed, width, height);
      EXPECT_EQ(fieldOf(before, width, height, 1 - parity), fieldOf(after, width, height, 1 - parity)) << name;
      EXPECT_NE(fieldOf(before, width, height, parity), fieldOf(after, width, height, parity)) << name;
    }
  }
}

TEST(Fields, EveryCpuLevelGivesTheSameBytes) {
  const int width = 67, height = 45;
  const Bytes input = interlaced(width, height);
  std::vector<Case> cases = casesWithoutEdgeWork();
  KeySettings edges = greenKey();
  edges.edgeContract = edges.edgeBlur = 1;
  edges.maskBlurRadius = 3;
  cases.push_back({"contracted and blurred", edges});
  for (const auto& [name, settings] : cases) {
    Bytes first;
    kalvetra::test::atEveryLevel([&, &caseName = name, &values = settings](kalvetra::CpuLevel level) {
      const Bytes keyed = fields(values, input, width, height);
      if (first.empty()) first = keyed;
      EXPECT_EQ(first, keyed) << caseName << ", " << kalvetra::cpuLevelName(level);
    });
  }
}

TEST(Fields, AFrameWithoutPixelsIsLeftAlone) {
  Bytes untouched(16, 5);
  const Bytes input(16, 9);
  for (const auto& [width, height] : {std::pair{0, 4}, {4, 0}}) {
    render(greenKey(), kalvetra::packedFrame(input.data(), width, height),
           kalvetra::packedFrame(untouched.data(), width, height), {kalvetra::Scan::Fields});
  }
  EXPECT_EQ(Bytes(16, 5), untouched);
}

}  // namespace
