#include "cli/key_pipeline.h"

#include <tbb/enumerable_thread_specific.h>
#include <tbb/global_control.h>
#include <tbb/parallel_pipeline.h>

#include <memory>

#include "cli/interrupt.h"
#include "media/frame_converter.h"

namespace kalvetra {

namespace {

struct Job {
  std::int64_t number;
  SourceFrame source;
  PackedPicture keyed;
};
using JobPtr = std::shared_ptr<Job>;

// What one thread works with. Its pictures are used over and over: fresh memory of that size costs more than a
// conversion does.
struct Workbench {
  explicit Workbench(const ColorTags& color) : converter(color) {}
  FrameConverter converter;
  Image image;
  Image result;
};

void key(Job& job, Workbench& bench, const KeySettings& settings, const PictureSink& sink) {
  bench.converter.convert(*job.source.picture, bench.image);
  job.source.picture.reset();
  const int width = bench.image.width, height = bench.image.height;
  bench.result.resize(width, height);
  renderFrame(settings, bench.image.argb.data(), bench.result.argb.data(), width, height);
  job.keyed = sink.pack(bench.result);
}

}  // namespace

void keyClip(Reader& source, PictureSink& sink, const AnimatedSettings& settings, int threads,
             const std::function<void()>& frameDone) {
  const auto workers = static_cast<std::size_t>(threads);
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, workers);
  tbb::enumerable_thread_specific<Workbench> benches([&] { return Workbench(source.format().color); });
  std::vector<PacketPtr> behindLastFrame;
  std::int64_t frames = 0;

  const auto read = [&](tbb::flow_control& flow) -> JobPtr {
    auto job = std::make_shared<Job>();
    job->number = frames++;
    if (stopRequested() || !source.next(job->source)) {
      behindLastFrame = std::move(job->source.copied);
      flow.stop();
      return nullptr;
    }
    return job;
  };
  const auto keyOne = [&](JobPtr job) {
    key(*job, benches.local(), settings.at(job->number), sink);
    return job;
  };
  const auto write = [&](const JobPtr& job) {
    sink.writeCopied(job->source.copied);
    sink.write(std::move(job->keyed), job->source.time, job->source.duration);
    frameDone();
  };
  tbb::parallel_pipeline(workers + 2, tbb::make_filter<void, JobPtr>(tbb::filter_mode::serial_in_order, read) &
                                          tbb::make_filter<JobPtr, JobPtr>(tbb::filter_mode::parallel, keyOne) &
                                          tbb::make_filter<JobPtr, void>(tbb::filter_mode::serial_in_order, write));
  throwIfInterrupted();
  sink.writeCopied(behindLastFrame);
}

}  // namespace kalvetra
