// Random settings on tiny and odd-sized frames: nothing undefined (the sanitizers watch), nothing outside the frame.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <limits>
#include <numeric>
#include <set>
#include <thread>

#include "engine/KalvetraFinalCut.h"
#include "parameters/parameter_table.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/rendered.h"

namespace {

using kalvetra::KeySettings;
using kalvetra::Parameter;
using kalvetra::test::Bytes;
using kalvetra::test::Random;

constexpr int kRounds = 10000;
constexpr std::size_t kGuard = 64;

// Mostly within the range, now and then at an end or far outside.
int randomValue(const Parameter& p, Random& random) {
  switch (random.within(0, 19)) {
    case 0:
      return p.minimum;
    case 1:
      return p.maximum;
    case 2:
      return random.within(-70000, 70000);
    default:
      return random.within(p.minimum, p.maximum);
  }
}

KeySettings randomSettings(Random& random) {
  KeySettings s = kalvetra::defaultSettings();
  for (const Parameter& p : kalvetra::kParameters) {
    if (p.value != nullptr) s.*p.value = randomValue(p, random);
  }
  // Greens, any colours, greys, near-blacks and nonsense.
  const int kind = random.within(0, 9);
  const double grey = random.within(0, 255) / 255.0;
  for (std::size_t i = 0; i < 3; ++i) {
    s.keyColor[i] = kind < 4   ? (i == 1 ? random.within(90, 255) : random.within(0, 120)) / 255.0
                    : kind < 6 ? random.within(0, 255) / 255.0
                    : kind < 8 ? grey
                    : kind < 9 ? random.within(0, 3) / 255.0
                               : random.within(-1000, 1000) * 1e9;
  }
  if (random.within(0, 99) == 0) s.keyColor[0] = std::numeric_limits<double>::quiet_NaN();
  return s;
}

Bytes randomFrame(int width, int height, const KeySettings& s, Random& random) {
  Bytes frame = kalvetra::test::noise(width * height * 4, random.next());
  const bool nearKey = random.within(0, 2) > 0;
  for (std::size_t i = 0; i < frame.size(); ++i) {
    if (i % 4 == 0 && random.within(0, 3) > 0) frame[i] = 255;
    if (i % 4 == 0 || !nearKey || !(s.keyColor[i % 4 - 1] >= 0 && s.keyColor[i % 4 - 1] <= 1)) continue;
    const int key = static_cast<int>(s.keyColor[i % 4 - 1] * 255);
    frame[i] = static_cast<unsigned char>(std::clamp(key + random.within(-20, 20), 0, 255));
  }
  return frame;
}

TEST(RandomSettings, NeverWriteOutsideTheFrameNorCauseUndefinedBehaviour) {
  const std::pair<int, int> sizes[] = {{1, 1},  {1, 2}, {2, 1}, {2, 2}, {3, 3},   {1, 9},  {9, 1}, {1, 37},
                                       {37, 1}, {5, 3}, {3, 5}, {7, 7}, {13, 11}, {16, 9}, {23, 6}};
  Random random(20);
  int keyed = 0;
  for (int round = 0; round < kRounds; ++round) {
    const auto [width, height] = sizes[static_cast<std::size_t>(random.within(0, std::size(sizes) - 1))];
    KeySettings s = randomSettings(random);
    const Bytes frame = randomFrame(width, height, s, random);
    Bytes guarded(frame.size() + 2 * kGuard, 0xA5);
    kalvetra::render(s, kalvetra::packedFrame(frame.data(), width, height),
                     kalvetra::packedFrame(guarded.data() + kGuard, width, height));
    for (std::size_t i = 0; i < kGuard; ++i) {
      ASSERT_EQ(0xA5, guarded[i]) << "before the frame, round " << round;
      ASSERT_EQ(0xA5, guarded[guarded.size() - 1 - i]) << "after the frame, round " << round;
    }
    const Bytes out(guarded.begin() + kGuard, guarded.end() - kGuard);
    const kalvetra::test::LevelRestorer restorer;
    kalvetra::setCpuLevel(kalvetra::CpuLevel::Scalar);
    ASSERT_EQ(kalvetra::test::rendered(s, frame, width, height), out)
        << "the same frame by the plain routines, round " << round;
    keyed += s.view == kKalvetraViewResult && out != frame;
  }
  EXPECT_GT(keyed, kRounds / 10);  // else the settings were refused, and nothing was tried
}

using Work = std::function<void(int)>;

// One part after the other, in any order.
void runShuffled(int parts, const Work& work, Random& random) {
  std::vector<int> order(static_cast<std::size_t>(parts));
  std::iota(order.begin(), order.end(), 0);
  for (int i = parts - 1; i > 0; --i) {
    std::swap(order[static_cast<std::size_t>(i)], order[static_cast<std::size_t>(random.within(0, i))]);
  }
  for (const int part : order) work(part);
}

// All parts at the same time, none on the calling thread.
void runOnThreads(int parts, const Work& work) {
  std::vector<std::thread> threads;
  for (int part = 0; part < parts; ++part) threads.emplace_back(work, part);
  for (std::thread& thread : threads) thread.join();
}

// Mostly legal settings, so that most frames reach the last stage.
TEST(RandomSettings, GiveTheSameBytesOnAnyNumberOfThreads) {
  Random random(21);
  std::set<int> parts;
  const kalvetra::test::LevelRestorer restorer;
  for (int round = 0; round < 600; ++round) {
    const int width = random.within(1, 70), height = random.within(1, round % 2 == 0 ? 40 : 300);
    KeySettings s = randomSettings(random);
    for (const Parameter& p : kalvetra::kParameters) {
      if (p.value != nullptr) s.*p.value = std::clamp(s.*p.value, p.minimum, p.maximum);
    }
    if (s.view == kKalvetraViewSource) s.view = kKalvetraViewResult;
    const Bytes frame = randomFrame(width, height, s, random);
    const auto formatIn = static_cast<kalvetra::PixelFormat>(random.within(0, 2));
    const auto formatOut = static_cast<kalvetra::PixelFormat>(random.within(0, 2));
    kalvetra::setCpuLevel(kalvetra::cpuLevels()[static_cast<std::size_t>(round) % kalvetra::cpuLevels().size()]);
    const auto rendered = [&](const kalvetra::Workers* workers) {
      Bytes out(frame.size(), 77);
      kalvetra::render(s, kalvetra::packedFrame(frame.data(), width, height, formatIn),
                       kalvetra::packedFrame(out.data(), width, height, formatOut), {kalvetra::Scan::Whole, workers});
      return out;
    };
    const Bytes alone = rendered(nullptr);
    const bool threads = round % 3 == 0;
    const auto run = [&](int count, const Work& work) {
      parts.insert(count);
      threads ? runOnThreads(count, work) : runShuffled(count, work, random);
    };
    const kalvetra::Workers workers{random.within(1, 7), run};
    ASSERT_EQ(alone, rendered(&workers)) << width << " x " << height << " on " << workers.count << ", round " << round;
  }
  EXPECT_GT(parts.size(), 7u);  // else no frame was taken apart
}

}  // namespace
