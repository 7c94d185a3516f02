// A loop on all threads that oneTBB has.
#pragma once

#include <tbb/parallel_for.h>

#include <cstddef>

#include "cpu/cpu_level.h"

namespace kalvetra {

// Calls work(0) .. work(count - 1), in any order, at the calling thread's CPU level.
template <class Work>
void atOnce(std::size_t count, const Work& work) {
  const CpuLevel level = cpuLevel();
  tbb::parallel_for(std::size_t{0}, count, [&](std::size_t i) {
    const CpuLevelScope scope(level);
    work(i);
  });
}

}  // namespace kalvetra
