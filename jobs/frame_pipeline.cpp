#include "jobs/frame_pipeline.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

#include "jobs/lent_threads.h"
#include "jobs/ordered_pipeline.h"

namespace kalvetra {

namespace {

struct Job {
  ClipFrame frame;
  Companions companions;
  std::vector<PackedPicture> packed;     // one a route
  std::map<std::size_t, Image> samples;  // by route
  WrittenFrame written;
};

bool shows(const std::vector<Route>& routes, ShownView view) {
  return std::any_of(routes.begin(), routes.end(), [view](const Route& route) { return route.view == view; });
}

void key(Job& job, FrameKeyer& keyer, const Keying& keying, const std::vector<Route>& routes) {
  const KeySettings settings = keying.settings.at(job.frame.number);
  const OddValues before = keyer.oddValues();
  keyer.begin(*job.frame.source.picture, settings, job.companions, knownOf(keying.plates, job.frame.number));
  job.frame.source.picture.reset();
  job.written.odd = keyer.oddValues() - before;
  const bool sample = isSample(job.frame.index, job.frame.isLast);
  for (std::size_t i = 0; i < routes.size(); ++i) {
    const Image& image = keyer.view(routes[i].followsSettings ? static_cast<ShownView>(settings.view) : routes[i].view);
    if (i == 0 && keying.hashes) job.written.record.hash = hashPicture(image);
    job.packed.push_back(routes[i].sink->pack(image));
    if (sample && routes[i].samples != nullptr) job.samples.emplace(i, sampleOf(image));
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

// Keyers that threads take turns with: a deep one holds pictures of so many bytes that there may be fewer of them than
// threads.
class Keyers {
 public:
  void add(std::unique_ptr<FrameKeyer> keyer) { idle_.push_back(std::move(keyer)); }

  // Waits for a keyer, and has it until it ends.
  class Turn {
   public:
    explicit Turn(Keyers& keyers) : keyers_(keyers) {
      std::unique_lock lock(keyers.mutex_);
      keyers.changed_.wait(lock, [&] { return !keyers.idle_.empty(); });
      keyer_ = std::move(keyers.idle_.back());
      keyers.idle_.pop_back();
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
      const std::lock_guard lock(keyers_.mutex_);
      keyers_.add(std::move(keyer_));  // as much room as it was taken from
      keyers_.changed_.notify_one();
    }
    FrameKeyer& keyer() { return *keyer_; }

   private:
    Keyers& keyers_;
    std::unique_ptr<FrameKeyer> keyer_;
  };

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::unique_ptr<FrameKeyer>> idle_;
};

// How many frames are keyed at once: deep ones are large, and many of them would take more memory than there may be.
// The threads that are left over go to the rows of those.
int framesAtOnce(const ClipKeying& keying, const PictureFormat& format, int threads) {
  if (!keying.deep()) return threads;
  constexpr double kMostBytes = 600e6;
  const double pixels = static_cast<double>(format.width) * format.height;
  const double bytes = 2.5 * pixelBytes(PixelFormat::RgbaF32) * pixels;  // source, key, matte and packed pictures
  return std::clamp(static_cast<int>(kMostBytes / bytes), 1, threads);
}

// False after the last frame, and once the run is to stop. The word to stop breaks off any reading: a companion may
// then look as if it had ended, or fail. What was read when it came is therefore not keyed.
bool read(Job& job, ClipReader& clip, CompanionFiles& companions, const std::atomic<bool>& stop) {
  if (stop) return false;
  try {
    if (!clip.next(job.frame)) return false;
    job.companions = companions.at(job.frame.number, job.frame.seconds);
  } catch (const std::exception&) {
    if (!stop) throw;
  }
  return !stop;
}

}  // namespace

void keyFrames(ClipReader& clip, const ClipKeying& clipKeying, const Keying& keying, CompanionFiles& companions,
               const std::vector<Route>& routes, int threads, const std::atomic<bool>& stop,
               const std::function<void(const WrittenFrame&)>& written) {
  const int atOnce = framesAtOnce(clipKeying, clip.format(), threads);
  std::vector<PacketPtr> afterLastFrame;
  OrderedPipeline<Job>::Stages stages;
  stages.read = [&](Job& job) {
    const bool more = read(job, clip, companions, stop);
    if (!more) afterLastFrame = std::move(job.frame.source.copied);
    return more;
  };
  std::vector<std::unique_ptr<LentThreads>> lent;
  Keyers keyers;
  for (int i = 0; i < atOnce; ++i) {
    auto keyer = std::make_unique<FrameKeyer>(clipKeying);
    if (threads > atOnce) {
      lent.push_back(std::make_unique<LentThreads>(threads / atOnce));
      keyer->share(lent.back()->workers());
    }
    keyers.add(std::move(keyer));
  }
  stages.startWorker = [&] {
    return [&](Job& job) {
      Keyers::Turn turn(keyers);
      key(job, turn.keyer(), keying, routes);
    };
  };
  stages.write = [&](Job& job) {
    write(job, routes);
    written(job.written);
  };
  OrderedPipeline<Job>::run(stages, std::min(threads, atOnce + 1));  // one more reads and writes meanwhile
  if (stop) return;
  for (const Route& route : routes) route.sink->writeCopied(afterLastFrame);
}

}  // namespace kalvetra
