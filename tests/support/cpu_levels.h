// Running the same at every CPU level.
#pragma once

#include "cpu/cpu_level.h"

namespace kalvetra::test {

// Puts the level back that was in use before.
class LevelRestorer {
 public:
  LevelRestorer() : level_(cpuLevel()) {}
  ~LevelRestorer() { setCpuLevel(level_); }
  LevelRestorer(const LevelRestorer&) = delete;
  LevelRestorer& operator=(const LevelRestorer&) = delete;

 private:
  CpuLevel level_;
};

// Calls body(level) with each level of this machine in use, the plain routines first.
template <class Body>
void atEveryLevel(Body body) {
  const LevelRestorer restorer;
  for (const CpuLevel level : cpuLevels()) {
    setCpuLevel(level);
    body(level);
  }
}

}  // namespace kalvetra::test
