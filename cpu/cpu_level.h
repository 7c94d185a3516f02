// Which instruction set the routines use. The bytes that they produce never depend on it.
#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace kalvetra {

enum class CpuLevel {
  Scalar,  // the plain routines alone
  Sse4,
  Avx2,
  Avx512,
  Neon,
};

// "scalar", "sse4", "avx2", "avx512", "neon".
std::string_view cpuLevelName(CpuLevel level);
std::optional<CpuLevel> cpuLevelNamed(std::string_view name);

// The levels that this machine and this build have: Scalar first, the fastest last.
std::vector<CpuLevel> cpuLevels();

// The level in use in this process; the fastest until another is set.
CpuLevel cpuLevel();

// Sets it for every thread, from the next call of a routine on. Throws std::invalid_argument for a level that is not
// among cpuLevels().
void setCpuLevel(CpuLevel level);

}  // namespace kalvetra
