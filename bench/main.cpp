// kalvetra-bench: times every pass and the whole frame at every CPU level, and checks what it timed.
//
// Takes Google Benchmark's options. `--dump-frames WxH COUNT FILE` instead writes the frames that are keyed here, as
// raw pixels of alpha, red, green, blue, so that other programs can be timed on them.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "bench/jobs.h"
#include "bench/stage_inputs.h"

namespace {

using kalvetra::bench::Pass;
using kalvetra::bench::Setting;
using kalvetra::bench::Size;
using kalvetra::bench::StageInputs;

const StageInputs& stageInputs() {
  static const StageInputs inputs(kalvetra::bench::passes());
  return inputs;
}

std::string withoutSpaces(std::string name) {
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

// "mask-blur/avx2"; further timed settings of a pass as "mask-blur/radius-20/avx2".
void addPasses() {
  for (const Pass& pass : kalvetra::bench::passes()) {
    for (const Setting& setting : pass.settings) {
      if (!setting.timed) continue;
      const bool first = &setting == &pass.settings.front();
      kalvetra::bench::addJob({first ? pass.name : pass.name + "/" + withoutSpaces(setting.name),
                               &pass,
                               setting,
                               StageInputs::sizeFor(pass),
                               [&pass] { return stageInputs().source(pass); },
                               [&pass] { return stageInputs().second(pass); },
                               {}});
    }
  }
}

int dumpFrames(char** arguments) {
  Size size{};
  const int count = std::atoi(arguments[1]);
  if (std::sscanf(arguments[0], "%dx%d", &size.width, &size.height) != 2 || size.width < 1 || size.height < 1 ||
      count < 1) {
    std::fputs("usage: kalvetra-bench --dump-frames WxH COUNT FILE\n", stderr);
    return 2;
  }
  kalvetra::bench::dumpFrames(size, count, arguments[2]);
  return 0;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc == 5 && std::string(argv[1]) == "--dump-frames") return dumpFrames(argv + 2);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  addPasses();
  kalvetra::bench::addFrameJobs();
  benchmark::RunSpecifiedBenchmarks();
  return kalvetra::bench::anyWrongResult() ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "kalvetra-bench: %s\n", error.what());
  return 1;
}
