// The plain routines as the judge of the vector forms.
#pragma once

#include <string>

#include "cpu/cpu_level.h"
#include "sample/test_images.h"
#include "tests/fuzz/require.h"
#include "tests/support/cpu_levels.h"

namespace kalvetra::test {

// Requires that `make()` gives the same bytes at every level of this machine, and returns them.
template <class Make>
Bytes sameAtEveryLevel(Make make) {
  Bytes plain;
  atEveryLevel([&](CpuLevel level) {
    Bytes bytes = make();
    if (level == CpuLevel::Scalar) {
      plain = std::move(bytes);
    } else {
      require(plain == bytes, "level " + std::string(cpuLevelName(level)) + " gives other bytes than the plain form");
    }
  });
  return plain;
}

}  // namespace kalvetra::test
