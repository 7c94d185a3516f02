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
  SourceFrame source;
  FramePtr keyed;
};
using JobPtr = std::shared_ptr<Job>;

void key(Job& job, FrameConverter& converter, const KeySettings& settings, const Writer& writer) {
  const Image image = converter.convert(*job.source.picture);
  job.source.picture.reset();
  Image result(image.width, image.height);
  renderFrame(settings, image.argb.data(), result.argb.data(), image.width, image.height);
  job.keyed = writer.pack(result);
}

}  // namespace

void keyClip(Reader& source, Writer& writer, const KeySettings& settings, int threads,
             const std::function<void()>& frameDone) {
  const auto workers = static_cast<std::size_t>(threads);
  const tbb::global_control limit(tbb::global_control::max_allowed_parallelism, workers);
  tbb::enumerable_thread_specific<FrameConverter> converters([&] { return FrameConverter(source.format().color); });
  std::vector<PacketPtr> behindLastFrame;

  const auto read = [&](tbb::flow_control& flow) -> JobPtr {
    auto job = std::make_shared<Job>();
    if (stopRequested() || !source.next(job->source)) {
      behindLastFrame = std::move(job->source.copied);
      flow.stop();
      return nullptr;
    }
    return job;
  };
  const auto keyOne = [&](JobPtr job) {
    key(*job, converters.local(), settings, writer);
    return job;
  };
  const auto write = [&](const JobPtr& job) {
    writer.writeCopied(job->source.copied);
    writer.write(std::move(job->keyed), job->source.time, job->source.duration);
    frameDone();
  };
  tbb::parallel_pipeline(workers + 2, tbb::make_filter<void, JobPtr>(tbb::filter_mode::serial_in_order, read) &
                                          tbb::make_filter<JobPtr, JobPtr>(tbb::filter_mode::parallel, keyOne) &
                                          tbb::make_filter<JobPtr, void>(tbb::filter_mode::serial_in_order, write));
  throwIfInterrupted();
  writer.writeCopied(behindLastFrame);
}

}  // namespace kalvetra
