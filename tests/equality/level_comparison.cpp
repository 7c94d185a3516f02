#include "tests/equality/level_comparison.h"

#include <cstdint>
#include <sstream>

#include "cpu/cpu_level.h"
#include "tests/support/cpu_levels.h"

namespace kalvetra::test {

namespace {

using bench::Images;
using bench::Pass;
using bench::Second;
using bench::Setting;
using bench::Size;

constexpr int kCasesPerSmallSize = 6 / KALVETRA_SAMPLE_STEP;
constexpr int kCasesPerLargeSize = 12 / KALVETRA_SAMPLE_STEP;
static_assert(kCasesPerSmallSize > 0, "the step leaves nothing to compare");
constexpr int kColorSliceStep = KALVETRA_SAMPLE_STEP == 1 ? 1 : 3 * KALVETRA_SAMPLE_STEP;

constexpr int kLargestWidth = 70;  // past two vectors of 32 pixels, and past one of 64 bytes
constexpr int kHeights[]{1, 2, 3, 5, 9};
constexpr Size kLargeSizes[]{{131, 57}, {1031, 3}, {333, 257}, {200, 400}, {700, 330}};
constexpr std::size_t kOffsets[]{0, 4, 8, 12, 1, 7, 13};
constexpr unsigned char kGuardByte = 0xA5;
constexpr unsigned char kUnwritten = 0x5C;

// An image at an offset in memory, with guards before and after it.
class GuardedImage {
 public:
  GuardedImage(const Bytes& content, const Case& c)
      : first_((c.guard + 15) / 16 * 16 + c.offset),
        size_(content.size()),
        bytes_(first_ + size_ + c.guard, kGuardByte) {
    bytes_.shrink_to_fit();
    std::copy(content.begin(), content.end(), bytes_.begin() + static_cast<std::ptrdiff_t>(first_));
  }
  unsigned char* data() { return size_ == 0 ? nullptr : bytes_.data() + first_; }
  Bytes content() const {
    const auto first = bytes_.begin() + static_cast<std::ptrdiff_t>(first_);
    return {first, first + static_cast<std::ptrdiff_t>(size_)};
  }
  // The first guard byte that was written.
  std::optional<std::string> damage() const {
    for (std::size_t i = 0; i < bytes_.size(); ++i) {
      if ((i >= first_ && i < first_ + size_) || bytes_[i] == kGuardByte) continue;
      return i < first_ ? "byte " + std::to_string(first_ - i) + " before it was overwritten"
                        : "byte " + std::to_string(i - first_ - size_ + 1) + " after it was overwritten";
    }
    return std::nullopt;
  }

 private:
  std::size_t first_, size_;
  Bytes bytes_;
};

std::optional<std::string> firstDifference(const Bytes& expected, const Bytes& actual) {
  for (std::size_t i = 0; i < expected.size(); ++i) {
    if (expected[i] != actual[i]) {
      return "byte " + std::to_string(i) + " is " + std::to_string(actual[i]) + " instead of " +
             std::to_string(expected[i]);
    }
  }
  return std::nullopt;
}

struct Input {
  Bytes source, second;
};

struct Output {
  Bytes source, result;
};

Input makeInput(const Pass& pass, const Case& c) {
  Input input{draw(c.picture, pass.source, c.size, c.seed), {}};
  if (pass.second == Second::Plate) input.second = draw(c.plate, pass.source, c.size, c.seed + 1);
  if (pass.second == Second::Scratch) input.second = Bytes(input.source.size(), kUnwritten);
  return input;
}

// Runs the pass at the level in use. What it must not have written is reported in `fault`, where that is still empty.
Output run(const Pass& pass, const Setting& setting, const Case& c, const Input& input,
           std::optional<std::string>& fault) {
  Bytes blank(pass.resultBytes(c.size), kUnwritten);
  if (pass.inPlace) std::copy(input.source.begin(), input.source.end(), blank.begin());
  GuardedImage source(pass.inPlace ? Bytes{} : input.source, c), second(input.second, c), result(blank, c);
  setting.run({c.size, source.data(), second.data(), result.data()});

  const auto blame = [&](const char* image, const std::optional<std::string>& what) {
    if (what && !fault) fault = std::string(image) + ": " + *what;
  };
  blame("result", result.damage());
  blame("source", source.damage());
  blame("second image", second.damage());
  if (!pass.inPlace && !pass.changesSource) blame("source changed", firstDifference(input.source, source.content()));
  if (pass.second == Second::Plate) blame("plate changed", firstDifference(input.second, second.content()));
  return {source.content(), result.content()};
}

std::string describe(const Pass& pass, const Setting& setting, const Case& c) {
  std::ostringstream text;
  text << pass.name << " (" << setting.name << ") at level " << cpuLevelName(cpuLevel()) << ", " << c.size.width
       << " x " << c.size.height << ", offset " << c.offset << ", guard " << c.guard << ", " << nameOf(c.picture)
       << " seed " << c.seed;
  if (pass.second == Second::Plate) text << " over " << nameOf(c.plate);
  return text.str() + ": ";
}

Picture pickPicture(Random& random) { return kPictures[random.within(0, std::size(kPictures) - 1)]; }

// Walks through the settings, so that each has its turn at many sizes.
class Sampler {
 public:
  explicit Sampler(const Pass& pass) : pass_(pass) {}

  std::optional<std::string> compare(Size size, int cases) {
    for (int i = 0; i < cases; ++i, ++turn_) {
      Case c{size, pickPicture(random_), pickPicture(random_)};
      c.offset = kOffsets[random_.within(0, std::size(kOffsets) - 1)];
      if (random_.within(0, 3) == 0) c.guard = 0;
      c.seed = random_.next();
      if (const auto found = difference(pass_, pass_.settings[turn_ % pass_.settings.size()], c)) return found;
    }
    return std::nullopt;
  }

 private:
  const Pass& pass_;
  Random random_{11};
  std::size_t turn_ = 0;
};

}  // namespace

std::optional<std::string> difference(const Pass& pass, const Setting& setting, const Case& c) {
  const LevelRestorer restorer;
  const Input input = makeInput(pass, c);
  Case aligned = c;
  aligned.offset = 0;
  std::optional<std::string> fault;
  setCpuLevel(CpuLevel::Scalar);
  const Output expected = run(pass, setting, aligned, input, fault);
  if (fault) return describe(pass, setting, aligned) + *fault;
  for (const CpuLevel level : cpuLevels()) {
    setCpuLevel(level);
    const Output actual = run(pass, setting, c, input, fault);
    if (fault) return describe(pass, setting, c) + *fault;
    if (const auto found = firstDifference(expected.result, actual.result)) {
      return describe(pass, setting, c) + "result: " + *found;
    }
    if (const auto found = firstDifference(expected.source, actual.source)) {
      return describe(pass, setting, c) + "source left: " + *found;
    }
  }
  return std::nullopt;
}

std::optional<std::string> differenceOnSizes(const Pass& pass) {
  Sampler sampler(pass);
  for (const int height : kHeights) {
    for (int width = 1; width <= kLargestWidth; ++width) {
      if (const auto found = sampler.compare({width, height}, kCasesPerSmallSize)) return found;
    }
  }
  for (const Size size : kLargeSizes) {
    if (pass.onSmallCopy && std::max(size.width, size.height) > 320) continue;
    if (const auto found = sampler.compare(size, kCasesPerLargeSize)) return found;
  }
  return std::nullopt;
}

std::optional<std::string> differenceOnColors(const Pass& pass, const Setting& setting) {
  for (int slice = 0; slice < kColorSlices; slice += kColorSliceStep) {
    Case c{kColorSlice, Picture::Colors};
    c.seed = static_cast<std::uint64_t>(slice);
    if (const auto found = difference(pass, setting, c)) return found;
  }
  return std::nullopt;
}

}  // namespace kalvetra::test
