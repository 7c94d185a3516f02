// kalvetra-bench: times every pass and the whole frame at every CPU level, and checks what it timed.
//
// Takes Google Benchmark's options. `--dump-frames WxH COUNT FILE` instead writes the frames that are keyed here, as
// raw pixels of alpha, red, green, blue, so that other programs can be timed on them.
#include <benchmark/benchmark.h>
#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>

#include "bench/stage_inputs.h"
#include "cpu/cpu_level.h"
#include "deep/render.h"
#include "engine/render.h"
#include "plates/fit.h"
#include "sample/test_images.h"

namespace {

using kalvetra::CpuLevel;
using kalvetra::Frame;
using kalvetra::bench::Bytes;
using kalvetra::bench::Pass;
using kalvetra::bench::Setting;
using kalvetra::bench::Size;
using kalvetra::bench::StageInputs;

bool wrongResult = false;

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

const std::vector<Pass>& passes() {
  static const std::vector<Pass> list = kalvetra::bench::allPasses();
  return list;
}

const StageInputs& stageInputs() {
  static const StageInputs inputs(passes());
  return inputs;
}

// The images of a job, while it is timed.
class Run {
 public:
  explicit Run(const Job& job)
      : job_(job), source_(job.makeSource()), second_(job.makeSecond()), result_(job.pass->resultBytes(job.size)) {}

  void reset() {
    if (job_.pass->inPlace) std::copy(source_.begin(), source_.end(), result_.begin());
  }
  void operator()() { job_.setting.run({job_.size, source_.data(), second_.data(), result_.data()}); }
  std::uint64_t hash() const { return kalvetra::test::hashOf(result_); }

 private:
  const Job& job_;
  Bytes source_, second_, result_;
};

void timeJob(benchmark::State& state, Job& job, CpuLevel level) {
  Run run(job);
  if (!job.expected) {
    kalvetra::setCpuLevel(CpuLevel::Scalar);
    run.reset();
    run();
    job.expected = run.hash();
  }
  kalvetra::setCpuLevel(level);
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

enum class Clock { Cpu, Wall };

void addJob(Job job, Clock clock = Clock::Cpu) {
  const auto shared = std::make_shared<Job>(std::move(job));
  for (const CpuLevel level : kalvetra::cpuLevels()) {
    const std::string name = shared->name + "/" + std::string(cpuLevelName(level));
    const auto timed = [shared, level](benchmark::State& s) { timeJob(s, *shared, level); };
    auto* const added = benchmark::RegisterBenchmark(name.c_str(), timed)->Unit(benchmark::kMillisecond);
    clock == Clock::Cpu ? added->MeasureProcessCPUTime() : added->UseRealTime();
  }
}

std::string withoutSpaces(std::string name) {
  std::replace(name.begin(), name.end(), ' ', '-');
  return name;
}

// "mask-blur/avx2"; further timed settings of a pass as "mask-blur/radius-20/avx2".
void addPasses() {
  for (const Pass& pass : passes()) {
    for (const Setting& setting : pass.settings) {
      if (!setting.timed) continue;
      const bool first = &setting == &pass.settings.front();
      addJob({first ? pass.name : pass.name + "/" + withoutSpaces(setting.name),
              &pass,
              setting,
              StageInputs::sizeFor(pass),
              [&pass] { return stageInputs().source(pass); },
              [&pass] { return stageInputs().second(pass); },
              {}});
    }
  }
}

struct FrameSize {
  const char* name;
  Size size;
};

constexpr FrameSize kFrameSizes[]{{"720p", {1280, 720}}, {"1080p", {1920, 1080}}, {"4K", {3840, 2160}}};

struct FrameVariant {
  const char* name;
  int smoothBG;
  int options;  // deblocking, edge contraction and edge blur
};

constexpr FrameVariant kFrameVariants[]{{"default", 1, 0}, {"no-plate", 0, 0}, {"all-options", 1, 1}};

kalvetra::KeySettings settingsOf(const FrameVariant& variant) {
  kalvetra::KeySettings s = kalvetra::bench::screenSettings();
  s.smoothBG = variant.smoothBG;
  s.deBlocking = s.edgeContract = s.edgeBlur = variant.options;
  return s;
}

// "frame/default/1080p/avx2".
void addFrames() {
  const Pass& pass = passNamed(passes(), "render-entry");
  for (const FrameVariant& variant : kFrameVariants) {
    const kalvetra::KeySettings s = settingsOf(variant);
    const auto run = [s](const kalvetra::bench::Images& i) { kalvetra::bench::renderImages(s, i); };
    for (const FrameSize& frame : kFrameSizes) {
      addJob({std::string("frame/") + variant.name + "/" + frame.name,
              &pass,
              {variant.name, run},
              frame.size,
              [size = frame.size] { return kalvetra::bench::cameraFrame(size, 0); },
              [] { return Bytes(); },
              {}});
    }
  }
}

// "deep/default/1080p/avx2": frames of floats in the deep lane, beside frame/default; "deep/bytes" keys the same frame
// in bytes there.
void addDeepFrames() {
  static const Pass pass{.name = "deep", .settings = {}, .resultBytes = [](Size size) {
                           return std::size_t{16} * static_cast<unsigned>(size.width * size.height);
                         }};
  std::vector<FrameVariant> variants(std::begin(kFrameVariants), std::end(kFrameVariants));
  variants.push_back({"bytes", 1, 0});
  for (const FrameVariant& variant : variants) {
    const kalvetra::KeySettings s = settingsOf(variant);
    const bool floats = variant.name != variants.back().name;
    const auto format = floats ? kalvetra::PixelFormat::RgbaF32 : kalvetra::PixelFormat::Argb8;
    const auto run = [s, format](const kalvetra::bench::Images& i) {
      renderDeep(s, kalvetra::packedFrame(i.source, i.size.width, i.size.height, format),
                 kalvetra::packedFrame(i.result, i.size.width, i.size.height, kalvetra::PixelFormat::RgbaF32));
    };
    for (const FrameSize& frame : kFrameSizes) {
      addJob({std::string("deep/") + variant.name + "/" + frame.name,
              &pass,
              {variant.name, run},
              frame.size,
              [size = frame.size, floats] {
                const Bytes bytes = kalvetra::bench::cameraFrame(size, 0);
                return floats ? kalvetra::bench::floatFrame(bytes) : bytes;
              },
              [] { return Bytes(); },
              {}});
    }
  }
}

// "plate/fitted/1080p/avx2": against a plate that is given, beside frame/default.
void addPlates() {
  struct Given {
    const char* name;
    Size size;
    bool keepsShadows;
  };
  static constexpr Size kFull = kFrameSizes[1].size;
  for (const Given& given :
       {Given{"fitted", {640, 360}, false}, Given{"full", kFull, false}, Given{"full-shadows", kFull, true}}) {
    const auto picture = std::make_shared<Bytes>(kalvetra::bench::cameraFrame(given.size, 0));
    const Frame frame = kalvetra::packedFrame(picture->data(), given.size.width, given.size.height);
    renderPlate(kalvetra::bench::screenSettings(), frame, frame);
    const auto run = [picture, frame, shadows = given.keepsShadows](const kalvetra::bench::Images& i) {
      const kalvetra::KnownPlate plate{frame, shadows, 2.0f};
      render(kalvetra::bench::screenSettings(), kalvetra::packedFrame(i.source, i.size.width, i.size.height),
             kalvetra::packedFrame(i.result, i.size.width, i.size.height), {kalvetra::Scan::Whole, nullptr, &plate});
    };
    addJob({std::string("plate/") + given.name + "/" + kFrameSizes[1].name,
            &passNamed(passes(), "render-entry"),
            {given.name, run},
            kFull,
            [] { return kalvetra::bench::cameraFrame(kFull, 0); },
            [] { return Bytes(); },
            {}});
  }
}

// "fit/1080p/avx2": the estimate that a shot takes once.
void addFit() {
  static constexpr FrameSize kFrame = kFrameSizes[1];
  const auto run = [](const kalvetra::bench::Images& i) {
    const kalvetra::FittedPlate fitted = kalvetra::fitPlate(
        kalvetra::packedFrame(i.source, i.size.width, i.size.height), kalvetra::bench::screenSettings());
    std::copy(fitted.plate.argb.begin(), fitted.plate.argb.end(), i.result);
  };
  addJob({std::string("fit/") + kFrame.name,
          &passNamed(passes(), "render-entry"),
          {"fit", run},
          kFrame.size,
          [] { return kalvetra::bench::cameraFrame(kFrame.size, 0); },
          [] { return Bytes(); },
          {}});
}

// "threads/all/4K/avx2": a default frame on that many threads, timed on the clock.
void addThreads() {
  static const kalvetra::Workers all{tbb::this_task_arena::max_concurrency(),
                                     [](int parts, const std::function<void(int)>& work) {
                                       tbb::parallel_for(0, parts, work, tbb::simple_partitioner());
                                     }};
  struct Lent {
    const char* name;
    const kalvetra::Workers* workers;
  };
  for (const Lent& lent : {Lent{"one", nullptr}, Lent{"all", &all}}) {
    const auto run = [workers = lent.workers](const kalvetra::bench::Images& i) {
      kalvetra::render(kalvetra::bench::screenSettings(), kalvetra::packedFrame(i.source, i.size.width, i.size.height),
                       kalvetra::packedFrame(i.result, i.size.width, i.size.height), {kalvetra::Scan::Whole, workers});
    };
    const FrameSize& frame = kFrameSizes[2];
    addJob({std::string("threads/") + lent.name + "/" + frame.name,
            &passNamed(passes(), "render-entry"),
            {lent.name, run},
            frame.size,
            [size = frame.size] { return kalvetra::bench::cameraFrame(size, 0); },
            [] { return Bytes(); },
            {}},
           Clock::Wall);
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
  addFrames();
  addDeepFrames();
  addPlates();
  addFit();
  addThreads();
  benchmark::RunSpecifiedBenchmarks();
  return wrongResult ? 1 : 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "kalvetra-bench: %s\n", error.what());
  return 1;
}
