#include "cpu/cpu_level.h"

#include <hwy/highway.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "cpu/vectors.h"

namespace kalvetra {

namespace {

struct Level {
  CpuLevel level;
  std::string_view name;
  std::int64_t target;  // of Highway
};

constexpr Level kLevels[]{
    {CpuLevel::Scalar, "scalar", 0},        {CpuLevel::Sse4, "sse4", HWY_SSE4}, {CpuLevel::Avx2, "avx2", HWY_AVX2},
    {CpuLevel::Avx512, "avx512", HWY_AVX3}, {CpuLevel::Neon, "neon", HWY_NEON},
};

bool isAvailable(const Level& level) {
  return level.level == CpuLevel::Scalar || (level.target & HWY_SUPPORTED_TARGETS & HWY_TARGETS) != 0;
}

// The choice in force, made once when it is first asked for.
struct Choice {
  Choice() { set(cpuLevels().back()); }
  void set(CpuLevel chosen) {
    for (const Level& level : kLevels) {
      // At level Scalar the target stays: a frame that is under way on another thread ends with the vectors it began.
      if (level.level == chosen && level.target != 0) target.Update(level.target);
    }
    current = chosen;
  }
  hwy::ChosenTarget target;
  std::atomic<CpuLevel> current;
};

Choice& choice() {
  static Choice instance;
  return instance;
}

}  // namespace

std::string_view cpuLevelName(CpuLevel level) {
  for (const Level& known : kLevels) {
    if (known.level == level) return known.name;
  }
  return {};
}

std::optional<CpuLevel> cpuLevelNamed(std::string_view name) {
  for (const Level& known : kLevels) {
    if (known.name == name) return known.level;
  }
  return std::nullopt;
}

std::vector<CpuLevel> cpuLevels() {
  std::vector<CpuLevel> levels;
  for (const Level& level : kLevels) {
    if (isAvailable(level)) levels.push_back(level.level);
  }
  return levels;
}

CpuLevel cpuLevel() { return choice().current; }

void setCpuLevel(CpuLevel level) {
  const std::vector<CpuLevel> levels = cpuLevels();
  if (std::find(levels.begin(), levels.end(), level) == levels.end()) {
    throw std::invalid_argument("this machine has no " + std::string(cpuLevelName(level)));
  }
  choice().set(level);
}

namespace simd {

bool enabled() { return cpuLevel() != CpuLevel::Scalar; }
const hwy::ChosenTarget& chosenTarget() { return choice().target; }

}  // namespace simd

}  // namespace kalvetra
