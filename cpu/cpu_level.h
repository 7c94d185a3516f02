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

// The level in use on this thread: that of its innermost CpuLevelScope, otherwise the process's.
CpuLevel cpuLevel();

// Sets the process's level, the fastest at first, from the next call of a routine on. Throws std::invalid_argument for
// a level that is not among cpuLevels().
void setCpuLevel(CpuLevel level);

// Overrides the process's level on the thread that makes it, while it lives. Scopes of a thread end in the reverse
// order of their making.
class CpuLevelScope {
 public:
  // Throws std::invalid_argument for a level that is not among cpuLevels().
  explicit CpuLevelScope(CpuLevel level);
  ~CpuLevelScope();
  CpuLevelScope(const CpuLevelScope&) = delete;
  CpuLevelScope& operator=(const CpuLevelScope&) = delete;

 private:
  std::optional<CpuLevel> before_;
};

}  // namespace kalvetra
