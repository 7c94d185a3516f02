// What a fuzz target holds its subject to.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace kalvetra::test {

// Ends the process, which counts as a finding, where `holds` is false.
inline void require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "fuzz target: %s\n", what.c_str());
  std::abort();
}

}  // namespace kalvetra::test
