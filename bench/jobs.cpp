#include "bench/jobs.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>

#include "cpu/cpu_level.h"
#include "sample/test_images.h"

namespace kalvetra::bench {

namespace {

bool wrongResult = false;

// The images of a job, while it is timed.
class Run {
 public:
  explicit Run(const Job& job)
      : job_(job), source_(job.makeSource()), second_(job.makeSecond()), result_(job.pass->resultBytes(job.size)) {}

  void reset() {
    if (job_.pass->inPlace) std::copy(source_.begin(), source_.end(), result_.begin());
  }
  void operator()() { job_.setting.run({job_.size, source_.data(), second_.data(), result_.data()}); }
  std::uint64_t hash() const { return test::hashOf(result_); }

 private:
  const Job& job_;
  Bytes source_, second_, result_;
};

void timeJob(benchmark::State& state, Job& job, CpuLevel level) {
  Run run(job);
  if (!job.expected) {
    setCpuLevel(CpuLevel::Scalar);
    run.reset();
    run();
    job.expected = run.hash();
  }
  setCpuLevel(level);
  for ([[maybe_unused]] const auto iteration : state) {
    if (job.pass->inPlace) {
      state.PauseTiming();
      run.reset();
      state.ResumeTiming();
    }
    run();
  }
  state.SetItemsProcessed(state.iterations() * job.size.width * job.size.height);
  if (run.hash() != *job.expected) {
    wrongResult = true;
    state.SkipWithError("the result differs from level scalar");
  }
}

}  // namespace

void addJob(Job job, Clock clock) {
  const auto shared = std::make_shared<Job>(std::move(job));
  for (const CpuLevel level : cpuLevels()) {
    const std::string name = shared->name + "/" + std::string(cpuLevelName(level));
    const auto timed = [shared, level](benchmark::State& s) { timeJob(s, *shared, level); };
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), timed)->Unit(benchmark::kMillisecond);
    clock == Clock::Cpu ? added->MeasureProcessCPUTime() : added->UseRealTime();
  }
}

bool anyWrongResult() { return wrongResult; }

const std::vector<Pass>& passes() {
  static const std::vector<Pass> list = allPasses();
  return list;
}

}  // namespace kalvetra::bench
