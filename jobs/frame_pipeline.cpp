#include "jobs/frame_pipeline.h"

#include <tbb/enumerable_thread_specific.h>
#include <tbb/parallel_pipeline.h>

#include <algorithm>
#include <exception>
#include <map>
#include <memory>

#include "support/thread_handover.h"
#include "support/thread_limit.h"

namespace kalvetra {

namespace {

struct Job {
  ClipFrame frame;
  Companions companions;
  std::vector<PackedPicture> packed;     // one a route
  std::map<std::size_t, Image> samples;  // by route
  WrittenFrame written;
};

// What stands for the order that the serial stages keep; see thread_handover.h.
constexpr char kReading{}, kWriting{};

bool shows(const std::vector<Route>& routes, ShownView view) {
  return std::any_of(routes.begin(), routes.end(), [view](const Route& route) { return route.view == view; });
}

void key(Job& job, FrameKeyer& keyer, const Keying& keying, const std::vector<Route>& routes) {
  const KeySettings settings = keying.settings.at(job.frame.number);
  keyer.begin(*job.frame.source.picture, settings, job.companions);
  job.frame.source.picture.reset();
  const bool sample = isSample(job.frame.index, job.frame.isLast);
  for (std::size_t i = 0; i < routes.size(); ++i) {
    const Image& image = keyer.view(routes[i].followsSettings ? static_cast<ShownView>(settings.view) : routes[i].view);
    if (i == 0 && keying.hashes) job.written.record.hash = hashPicture(image);
    job.packed.push_back(routes[i].sink->pack(image));
    if (sample && routes[i].samples != nullptr) job.samples.emplace(i, image);
  }
  if (shows(routes, ShownView::Status)) job.written.status = keyer.status();
}

void write(Job& job, const std::vector<Route>& routes) {
  const SourceFrame& source = job.frame.source;
  const PicturePlace place{source.time, source.duration, job.frame.fileNumber};
  for (std::size_t i = 0; i < routes.size(); ++i) {
    routes[i].sink->writeCopied(source.copied);
    routes[i].sink->write(std::move(job.packed[i]), place);
  }
  for (auto& [route, image] : job.samples) routes[route].samples->add(job.frame.index, std::move(image));
  job.written.record.time = place.time;
  job.written.record.duration = place.duration;
  job.written.record.number = place.number;
}

// The first exception of any stage. It does not pass through the pipeline, which would lose the jobs under way; these
// go on to the end without being worked on.
class Failure {
 public:
  // Does the work, unless something has failed already. Answers what the work does, false after a failure.
  template <class Work>
  bool guard(Work work) {
    if (failed_) return false;
    try {
      return work();
    } catch (...) {
      if (!failed_.exchange(true)) first_ = std::current_exception();
      return false;
    }
  }
  void rethrow() const {
    if (first_) std::rethrow_exception(first_);
  }

 private:
  std::atomic<bool> failed_{false};
  std::exception_ptr first_;
};

}  // namespace

void keyFrames(ClipReader& clip, const ClipKeying& clipKeying, const Keying& keying, CompanionFiles& companions,
               const std::vector<Route>& routes, int threads, const std::atomic<bool>& stop,
               const std::function<void(const WrittenFrame&)>& written) {
  const auto workers = static_cast<std::size_t>(threads);
  const ThreadLimit limit(threads);
  tbb::enumerable_thread_specific<FrameKeyer> keyers([&] { return FrameKeyer(clipKeying); });
  std::vector<PacketPtr> behindLastFrame;
  Failure failure;

  // The word to stop breaks off any reading: a companion may then look as if it had ended, or fail. What was read when
  // it came is therefore not keyed. Jobs go from stage to stage as plain pointers; the last one deletes them. None is
  // lost on the way, as no stage throws.
  const auto read = [&](tbb::flow_control& flow) -> Job* {
    const Handover turn(&kReading);
    std::unique_ptr<Job> job;
    const bool more = !stop && failure.guard([&] {
      job = std::make_unique<Job>();
      try {
        if (!clip.next(job->frame)) return false;
        job->companions = companions.at(job->frame.number, job->frame.seconds);
      } catch (const std::exception&) {
        if (!stop) throw;
      }
      return !stop;
    });
    if (more) {
      handOver(job.get());
      return job.release();
    }
    if (job) behindLastFrame = std::move(job->frame.source.copied);
    flow.stop();
    return nullptr;
  };
  const auto keyOne = [&](Job* job) {
    const Handover turn(job);
    failure.guard([&] {
      key(*job, keyers.local(), keying, routes);
      return true;
    });
    return job;
  };
  const auto writeOne = [&](Job* done) {
    takeOver(done);
    const Handover turn(&kWriting);
    const std::unique_ptr<Job> job(done);
    failure.guard([&] {
      write(*job, routes);
      written(job->written);
      return true;
    });
  };
  handOver(&kReading);
  tbb::parallel_pipeline(workers + 2, tbb::make_filter<void, Job*>(tbb::filter_mode::serial_in_order, read) &
                                          tbb::make_filter<Job*, Job*>(tbb::filter_mode::parallel, keyOne) &
                                          tbb::make_filter<Job*, void>(tbb::filter_mode::serial_in_order, writeOne));
  takeOver(&kReading);
  takeOver(&kWriting);
  failure.rethrow();
  if (stop) return;
  for (const Route& route : routes) route.sink->writeCopied(behindLastFrame);
}

}  // namespace kalvetra
