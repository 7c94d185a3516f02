// What kalvetra-bench times, registered with Google Benchmark at every CPU level.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "bench/frames.h"
#include "bench/passes.h"

namespace kalvetra::bench {

// One pass at one setting on one input, whatever the level. Inputs are made when first timed: most runs are filtered.
struct Job {
  std::string name;
  const Pass* pass;
  Setting setting;
  Size size;
  std::function<Bytes()> makeSource;
  std::function<Bytes()> makeSecond;
  std::optional<std::uint64_t> expected;  // hash of the result at level Scalar
};

enum class Clock { Cpu, Wall };

// Times a job under its name and each level's, "laplacian/avx2", and checks what it makes.
void addJob(Job job, Clock clock = Clock::Cpu);

// Whether a result differed from that of level scalar.
bool anyWrongResult();

// Every pass, made once.
const std::vector<Pass>& passes();

// Whole frames: of both lanes, against given plates, on several threads; and the estimate of a plate.
void addFrameJobs();

}  // namespace kalvetra::bench
