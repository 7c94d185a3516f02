#include "cpu/cpu_level.h"

#include <hwy/highway.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
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

// Asked once: on a virtual machine the question may take longer than a row's key.
std::int64_t availableTargets() {
  static const std::int64_t targets = HWY_SUPPORTED_TARGETS & HWY_TARGETS;
  return targets;
}

bool isAvailable(const Level& level) {
  return level.level == CpuLevel::Scalar || (level.target & availableTargets()) != 0;
}

CpuLevel fastestLevel() {
  CpuLevel fastest = CpuLevel::Scalar;
  for (const Level& level : kLevels) {
    if (isAvailable(level)) fastest = level.level;
  }
  return fastest;
}

void requireAvailable(CpuLevel wanted) {
  for (const Level& level : kLevels) {
    if (level.level == wanted && isAvailable(level)) return;
  }
  throw std::invalid_argument("this machine has no " + std::string(cpuLevelName(wanted)));
}

// Each level's index into the vector forms' tables.
struct Targets {
  Targets() {
    for (const Level& level : kLevels) of[index(level.level)].Update(level.target);
    // A frame that is under way on another thread while the process goes to level Scalar ends with vectors.
    of[index(CpuLevel::Scalar)].Update(availableTargets());
  }
  static std::size_t index(CpuLevel level) { return static_cast<std::size_t>(level); }
  hwy::ChosenTarget of[std::size(kLevels)];
};

std::atomic<CpuLevel>& processLevel() {
  static std::atomic<CpuLevel> level = fastestLevel();
  return level;
}

constinit thread_local std::optional<CpuLevel> threadLevel;

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

CpuLevel cpuLevel() { return threadLevel ? *threadLevel : processLevel().load(); }

void setCpuLevel(CpuLevel level) {
  requireAvailable(level);
  processLevel() = level;
}

CpuLevelScope::CpuLevelScope(CpuLevel level) : before_(threadLevel) {
  requireAvailable(level);
  threadLevel = level;
}

CpuLevelScope::~CpuLevelScope() { threadLevel = before_; }

namespace simd {

bool enabled() { return cpuLevel() != CpuLevel::Scalar; }

const hwy::ChosenTarget& chosenTarget() {
  static const Targets targets;
  return targets.of[Targets::index(cpuLevel())];
}

}  // namespace simd

}  // namespace kalvetra
