// The look through the library: at every CPU level, and on several threads at once.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>

#include "parameters/look_version.h"
#include "parameters/parameter_value.h"
#include "tests/support/cpu_levels.h"
#include "tests/support/look.h"
#include "tests/support/rendered.h"

namespace {

using kalvetra::KeySettings;
using kalvetra::Parameter;
using kalvetra::ParameterKind;
using kalvetra::test::Bytes;
using kalvetra::test::LookFrame;
using kalvetra::test::lookReference;

std::string keyedHash(const LookFrame& frame) {
  return kalvetra::test::lookHash(kalvetra::test::rendered(frame.settings, drawn(frame), frame.width, frame.height));
}

// The reference file with this machine's hashes.
std::string recorded() {
  std::vector<std::string> hashes;
  for (const LookFrame& frame : lookReference().frames) hashes.push_back(keyedHash(frame));
  return kalvetra::test::lookFile(hashes);
}

TEST(Look, IsThatOfItsVersion) {
  ASSERT_EQ(kalvetra::kLookVersion, lookReference().look)
      << "kLookVersion was changed: its frames must be recorded. Put this into tests/data/look.json:\n"
      << recorded();
  bool same = true;
  kalvetra::test::atEveryLevel([&](kalvetra::CpuLevel level) {
    for (const LookFrame& frame : lookReference().frames) {
      const std::string hash = keyedHash(frame);
      same = same && hash == frame.hash;
      EXPECT_EQ(frame.hash, hash) << frame.line << " with " << kalvetra::cpuLevelName(level);
    }
  });
  EXPECT_TRUE(same) << "The keyer's pictures have changed. Find the fault; or, if the change is meant, raise "
                       "kLookVersion in parameters/look_version.h and put this into tests/data/look.json:\n"
                    << recorded();
}

// Each thread takes the next frame that none has taken.
TEST(Look, IsTheSameOnAnyNumberOfThreads) {
  const std::vector<LookFrame>& frames = lookReference().frames;
  for (const int count : {1, 2, 7}) {
    std::vector<std::string> hashes(frames.size());
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
      threads.emplace_back([&] {
        for (std::size_t at; (at = next++) < frames.size();) hashes[at] = keyedHash(frames[at]);
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (std::size_t i = 0; i < frames.size(); ++i) {
      EXPECT_EQ(frames[i].hash, hashes[i]) << frames[i].line << " with " << count << " threads";
    }
  }
}

// What the frames above would not notice must not be much.

// Whether a value matters in these settings: nothing does while nothing is keyed.
bool counts(const KeySettings& settings, const Parameter& p) {
  return p.kind != ParameterKind::Group && (p.toggle == 0 || settings.*kalvetra::findParameter(p.toggle)->value != 0);
}

TEST(LookReference, TriesEveryPictureAndNothingTwice) {
  std::set<std::string> shown, hashes;
  for (const LookFrame& frame : lookReference().frames) {
    shown.insert(frame.picture);
    hashes.insert(frame.hash);
  }
  EXPECT_EQ(kalvetra::test::lookPictures().size(), shown.size());
  EXPECT_EQ(lookReference().frames.size(), hashes.size()) << "two frames come out alike, so one of them tries nothing";
}

TEST(LookReference, TriesTheDefaultAndBothEndsOfEveryParameter) {
  for (const Parameter& p : kalvetra::kParameters) {
    std::set<int> tried;
    for (const LookFrame& frame : lookReference().frames) {
      if (counts(frame.settings, p)) tried.insert(valueIn(frame.settings, p));
    }
    if (p.kind == ParameterKind::Group || p.ofClip) continue;
    if (p.kind == ParameterKind::Color) {
      EXPECT_GE(tried.size(), 8u);
    } else {
      for (const int value : {p.minimum, p.defaultValue, p.maximum}) {
        EXPECT_TRUE(tried.contains(value)) << p.slug << " " << value;
      }
    }
    EXPECT_TRUE(tried.contains(p.defaultValue)) << p.slug;
  }
}

TEST(LookReference, TriesOddAndLeastSizes) {
  std::set<std::pair<bool, bool>> odd, least;
  for (const LookFrame& frame : lookReference().frames) {
    odd.insert({frame.width % 2 != 0, frame.height % 2 != 0});
    least.insert({frame.width == 1, frame.height == 1});
  }
  EXPECT_EQ(4u, odd.size());
  EXPECT_EQ(4u, least.size());
}

}  // namespace
