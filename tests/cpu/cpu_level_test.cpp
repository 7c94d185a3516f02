// The switch between instruction sets.
#include "cpu/cpu_level.h"

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <thread>

#include "cpu/vectors.h"
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

TEST(CpuLevels, TheFirstIsScalarAndTheBestIsInUse) {
  const auto levels = kalvetra::cpuLevels();
  ASSERT_FALSE(levels.empty());
  EXPECT_EQ(CpuLevel::Scalar, levels.front());
  EXPECT_EQ(levels.back(), kalvetra::cpuLevel());
}

TEST(CpuLevels, UnavailableOnesAreRefusedAndChangeNothing) {
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

// Scopes of one thread do not reach another.
TEST(CpuLevelScopes, OverrideTheProcessOnTheirOwnThreadAlone) {
  const CpuLevel process = kalvetra::cpuLevel();
  {
    const kalvetra::CpuLevelScope scalar(CpuLevel::Scalar);
    EXPECT_FALSE(kalvetra::simd::enabled());
    std::thread([process] { EXPECT_EQ(process, kalvetra::cpuLevel()); }).join();
    kalvetra::setCpuLevel(process);
    EXPECT_EQ(CpuLevel::Scalar, kalvetra::cpuLevel());
    for (const CpuLevel level : kalvetra::cpuLevels()) {
      const kalvetra::CpuLevelScope inner(level);
      EXPECT_EQ(level, kalvetra::cpuLevel());
      EXPECT_EQ(level != CpuLevel::Scalar, kalvetra::simd::enabled());
    }
    EXPECT_EQ(CpuLevel::Scalar, kalvetra::cpuLevel());
    const CpuLevel missing = kalvetra::cpuLevels().back() == CpuLevel::Neon ? CpuLevel::Avx2 : CpuLevel::Neon;
    EXPECT_THROW(kalvetra::CpuLevelScope{missing}, std::invalid_argument);
    EXPECT_EQ(CpuLevel::Scalar, kalvetra::cpuLevel());
  }
  EXPECT_EQ(process, kalvetra::cpuLevel());
}

// Levels have vector forms of their own, and level Scalar the fastest, which a frame under way can end with.
TEST(CpuLevelScopes, ChooseTheVectorsOfTheirLevel) {
  std::vector<std::size_t> forms;
  for (const CpuLevel level : kalvetra::cpuLevels()) {
    const kalvetra::CpuLevelScope scope(level);
    forms.push_back(kalvetra::simd::chosenTarget().GetIndex());
  }
  EXPECT_EQ(forms.back(), forms.front());
  const std::set<std::size_t> different(forms.begin(), forms.end());
  EXPECT_EQ(std::max<std::size_t>(forms.size() - 1, 1), different.size());
}

}  // namespace
