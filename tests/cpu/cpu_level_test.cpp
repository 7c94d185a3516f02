// The switch between instruction sets.
#include "cpu/cpu_level.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/cpu_levels.h"

namespace {

using kalvetra::CpuLevel;

TEST(CpuLevels, HaveNamesThatLeadBack) {
  for (const CpuLevel level : {CpuLevel::Scalar, CpuLevel::Sse4, CpuLevel::Avx2, CpuLevel::Avx512, CpuLevel::Neon}) {
    EXPECT_EQ(level, kalvetra::cpuLevelNamed(kalvetra::cpuLevelName(level)));
  }
  EXPECT_FALSE(kalvetra::cpuLevelNamed("auto"));
  EXPECT_FALSE(kalvetra::cpuLevelNamed("AVX2"));
  EXPECT_FALSE(kalvetra::cpuLevelNamed(""));
}

TEST(CpuLevels, BeginPlainAndTheBestIsInUse) {
  const auto levels = kalvetra::cpuLevels();
  ASSERT_FALSE(levels.empty());
  EXPECT_EQ(CpuLevel::Scalar, levels.front());
  EXPECT_EQ(levels.back(), kalvetra::cpuLevel());
}

TEST(CpuLevels, ThatAreNotThereAreRefusedAndChangeNothing) {
  const auto levels = kalvetra::cpuLevels();
  int refused = 0;
  kalvetra::test::atEveryLevel([&](CpuLevel inUse) {
    for (const CpuLevel level : {CpuLevel::Sse4, CpuLevel::Avx2, CpuLevel::Avx512, CpuLevel::Neon}) {
      if (std::find(levels.begin(), levels.end(), level) != levels.end()) continue;
      EXPECT_THROW(kalvetra::setCpuLevel(level), std::invalid_argument);
      EXPECT_EQ(inUse, kalvetra::cpuLevel());
      ++refused;
    }
  });
  EXPECT_GT(refused, 0);  // no machine has both x86's and Arm's
}

}  // namespace
