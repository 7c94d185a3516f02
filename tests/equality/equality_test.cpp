// The vector forms give the bytes of the plain routines, at every CPU level of this machine.
#include <gtest/gtest.h>

#include <ostream>
#include <set>

#include "cpu/cpu_level.h"
#include "tests/equality/level_comparison.h"

namespace {

using kalvetra::CpuLevel;
using kalvetra::bench::Images;
using kalvetra::bench::Pass;
using kalvetra::bench::Setting;
using kalvetra::test::Case;
using kalvetra::test::difference;
using kalvetra::test::differenceOnSizes;
using kalvetra::test::Picture;

const std::vector<Pass>& passes() {
  static const std::vector<Pass> list = kalvetra::bench::allPasses();
  return list;
}

std::string testName(const Pass& pass) {
  std::string name = pass.name;
  std::erase(name, '-');
  return name;
}

class EveryPass : public testing::TestWithParam<std::size_t> {};

TEST_P(EveryPass, IsTheSameAtEveryLevel) {
  const auto found = differenceOnSizes(passes()[GetParam()]);
  EXPECT_FALSE(found) << *found;
}

INSTANTIATE_TEST_SUITE_P(Passes, EveryPass, testing::Range(std::size_t{0}, passes().size()),
                         [](const auto& tested) { return testName(passes()[tested.param]); });

// The defaults, all values at their lowest, all at their highest: the first pointwise settings of each pass.
constexpr std::size_t kColorSettings = 3;

struct ColorCase {
  const Pass* pass;
  const Setting* setting;
};

std::vector<ColorCase> colorCases() {
  std::vector<ColorCase> cases;
  for (const Pass& pass : passes()) {
    std::size_t taken = 0;
    for (const Setting& setting : pass.settings) {
      if (setting.pointwise && taken++ < kColorSettings) cases.push_back({&pass, &setting});
    }
  }
  return cases;
}

void PrintTo(const ColorCase& tested, std::ostream* out) { *out << tested.pass->name; }

class EveryColor : public testing::TestWithParam<ColorCase> {};

TEST_P(EveryColor, IsTheSameAtEveryLevel) {
  const auto found = kalvetra::test::differenceOnColors(*GetParam().pass, *GetParam().setting);
  EXPECT_FALSE(found) << *found;
}

INSTANTIATE_TEST_SUITE_P(Passes, EveryColor, testing::ValuesIn(colorCases()), [](const auto& tested) {
  return testName(*tested.param.pass) + std::to_string(tested.index % kColorSettings);
});

// --- The comparison itself: wrong passes must be caught --------------------------------------------------------------

using Spoil = std::function<void(const Images&)>;

// The pass with `spoil` applied after every run that is not at level Scalar.
Pass spoiled(const std::string& name, const Spoil& spoil) {
  Pass pass = passNamed(passes(), name);
  for (Setting& setting : pass.settings) {
    setting.run = [run = setting.run, spoil](const Images& images) {
      run(images);
      if (kalvetra::cpuLevel() != CpuLevel::Scalar) spoil(images);
    };
  }
  return pass;
}

void expectCaught(const std::optional<std::string>& found, const std::string& message) {
  const std::string text = found.value_or("nothing was found");
  EXPECT_NE(std::string::npos, text.find(message)) << text;
}

class Comparison : public testing::Test {
 protected:
  void SetUp() override {
    if (kalvetra::cpuLevels().size() < 2) GTEST_SKIP() << "this machine has no vectors to be wrong";
  }
};

TEST_F(Comparison, SeesALastPixelOfARow) {
  const Pass wrong = spoiled("color-key-pass", [](const Images& i) { ++i.result[(i.size.width - 1) * 4]; });
  expectCaught(differenceOnSizes(wrong), "1 x 1");
  expectCaught(difference(wrong, wrong.settings[0], {{9, 2}, Picture::Noise}), "result: byte 32 is ");
}

TEST_F(Comparison, SeesOneWidth) {
  const Pass wrong = spoiled("laplacian", [](const Images& i) {
    if (i.size.width == 17) i.result[16] ^= 1;
  });
  expectCaught(differenceOnSizes(wrong), "17 x 1");
}

TEST_F(Comparison, SeesOneLevel) {
  const CpuLevel level = kalvetra::cpuLevels().back();
  const Pass wrong = spoiled("mask-blur", [level](const Images& i) {
    if (kalvetra::cpuLevel() == level) i.result[3] ^= 1;
  });
  expectCaught(differenceOnSizes(wrong), "level " + std::string(cpuLevelName(level)));
}

TEST_F(Comparison, SeesOneOfAllColors) {
  const Pass wrong = spoiled("color-key-pass", [](const Images& i) {
    for (int p = 0; p < i.size.width * i.size.height; ++p) {
      const unsigned char* pixel = i.source + p * 4;
      if (pixel[0] == 255 && pixel[1] == 254 && pixel[2] == 253) i.result[p * 4 + 3] ^= 1;
    }
  });
  const Case slice{kalvetra::test::kColorSlice, Picture::Colors};
  int caught = 0;
  for (int i = 0; i < kalvetra::test::kColorSlices; ++i) {
    Case c = slice;
    c.seed = static_cast<std::uint64_t>(i);
    const auto found = difference(wrong, wrong.settings[0], c);
    if (!found) continue;
    ++caught;
    expectCaught(found, "all colours seed " + std::to_string(i) + ": result: byte ");
  }
  EXPECT_EQ(1, caught);
}

TEST_F(Comparison, SeesWhatIsWrittenOutside) {
  const auto writing = [](std::ptrdiff_t at) {
    return spoiled("plane-blur", [at](const Images& i) { i.result[at < 0 ? at : at + i.size.width * 3 - 1] ^= 1; });
  };
  for (const std::size_t offset : {0u, 7u}) {
    Case c{{5, 3}, Picture::Noise};
    c.offset = offset;
    const Pass before = writing(-2), after = writing(1);
    expectCaught(difference(before, before.settings[0], c), "result: byte 2 before it was overwritten");
    expectCaught(difference(after, after.settings[0], c), "result: byte 1 after it was overwritten");
  }
}

TEST_F(Comparison, SeesAnInputThatChanged) {
  const Pass source = spoiled("laplacian", [](const Images& i) { i.source[6] ^= 1; });
  expectCaught(difference(source, source.settings[0], {{5, 3}, Picture::Noise}), "source changed: byte 6 is ");
  const Pass plate = spoiled("plate-key", [](const Images& i) { i.second[6] ^= 1; });
  expectCaught(difference(plate, plate.settings[0], {{5, 3}, Picture::Noise}), "plate changed: byte 6 is ");
  const Pass left = spoiled("driver", [](const Images& i) { i.source[6] ^= 1; });
  expectCaught(difference(left, left.settings[0], {{5, 3}, Picture::Noise}), "source left: byte 6 is ");
}

TEST_F(Comparison, LeavesTheLevelAsItWas) {
  const CpuLevel before = kalvetra::cpuLevel();
  kalvetra::setCpuLevel(CpuLevel::Scalar);
  const Pass& pass = passes().front();
  EXPECT_FALSE(difference(pass, pass.settings[0], {{5, 3}, Picture::Noise}));
  EXPECT_EQ(CpuLevel::Scalar, kalvetra::cpuLevel());
  kalvetra::setCpuLevel(before);
}

// Equality would say nothing if the settings were refused or changed nothing.
TEST(Settings, ChangeWhatTheRenderEntryWrites) {
  const Pass& pass = passNamed(passes(), "render-entry");
  const kalvetra::bench::Size size{64, 48};
  const auto frame = kalvetra::test::draw(Picture::Screen, pass.source, size, 1);
  std::set<std::uint64_t> results;
  for (const Setting& setting : pass.settings) {
    auto source = frame;
    kalvetra::test::Bytes result(frame.size());
    setting.run({size, source.data(), nullptr, result.data()});
    results.insert(kalvetra::test::hashOf(result));
  }
  EXPECT_GT(results.size(), 100u);
}

}  // namespace
