#include "preview/clip/matte_stream.h"

#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

#include "jobs/frame_keyer.h"
#include "media/input/frame_access.h"
#include "preview/clip/thread_priority.h"

namespace kalvetra {

namespace {

void takeAlpha(const Image& image, MattePlane& matte) {
  matte.resize(image.argb.size() / 4);
  for (std::size_t i = 0; i < matte.size(); ++i) matte[i] = image.argb[4 * i];
}

class Run {
 public:
  Run(const KeyJob& job, const AnimatedSettings& settings, std::shared_ptr<const PictureIndex> index,
      Precedence& precedence, const std::atomic<bool>& stop, const MatteStream& stream)
      : settings_(settings),
        precedence_(precedence),
        stop_(stop),
        stream_(stream),
        range_(job.range),
        clip_(job.input, job.source, job.threads, stop, 0),
        keying_(clip_.reader(), job.keying),
        first_(range_.firstFrame(clip_.reader().format().frameRate)),
        ahead_(2 * job.threads) {
    clip_.setIndex(std::move(index));
  }

  bool all(int threads) {
    stream_.begin(clip_.reader());
    const int numbering = clip_.generation();
    std::vector<std::thread> workers;
    try {
      for (int i = 0; i < threads; ++i) workers.emplace_back([this] { work(); });
    } catch (...) {  // the system has no more threads
      fail(std::current_exception());
    }
    for (std::thread& worker : workers) worker.join();
    if (failure_) std::rethrow_exception(failure_);
    return clip_.generation() == numbering;
  }

 private:
  void work() noexcept {
    try {
      lowerPriority();
      FrameKeyer keyer(keying_);
      std::int64_t index = 0;
      Companions mattes;
      while (const auto picture = read(index, mattes)) {
        keyer.begin(*picture, settings_.at(first_ + index), mattes);
        MattePlane matte;
        takeAlpha(keyer.view(ShownView::Result), matte);
        deliver(index, std::move(matte));
      }
    } catch (...) {
      fail(std::current_exception());
    }
  }

  // The next picture, its index in the range and its mattes; null after the last.
  std::shared_ptr<const AVFrame> read(std::int64_t& index, Companions& mattes) {
    precedence_.giveWay(stop_);
    std::unique_lock lock(mutex_);
    // One slow frame must not let those after it pile up.
    delivered_.wait(lock, [&] { return over_ || taken_ < written_ + ahead_; });
    index = taken_;
    std::shared_ptr<const AVFrame> picture;
    if (!over_ && !stop_ && !range_.isBehind(first_ + index, 0.0, index)) picture = clip_.frame(first_ + index);
    if (picture) {
      mattes = stream_.companions(first_ + index);
      ++taken_;
    } else {
      over_ = true;
      delivered_.notify_all();
    }
    return picture;
  }

  void deliver(std::int64_t index, MattePlane matte) {
    const std::lock_guard order(orderMutex_);
    waiting_.emplace(index, std::move(matte));
    for (auto next = waiting_.begin(); next != waiting_.end() && next->first == inTurn_; next = waiting_.begin()) {
      if (!stop_) stream_.matte(std::move(next->second));
      waiting_.erase(next);
      ++inTurn_;
    }
    {
      const std::lock_guard lock(mutex_);
      written_ = inTurn_;
    }
    delivered_.notify_all();
  }

  void fail(std::exception_ptr failure) {
    {
      const std::lock_guard lock(mutex_);
      if (!failure_) failure_ = std::move(failure);
      over_ = true;
    }
    delivered_.notify_all();
  }

  const AnimatedSettings& settings_;
  Precedence& precedence_;
  const std::atomic<bool>& stop_;
  const MatteStream& stream_;
  const ClipRange range_;

  std::mutex mutex_;  // of what follows
  std::condition_variable delivered_;
  FrameAccess clip_;
  const ClipKeying keying_;
  const std::int64_t first_, ahead_;
  std::int64_t taken_ = 0, written_ = 0;  // frames
  bool over_ = false;
  std::exception_ptr failure_;

  std::mutex orderMutex_;                       // of what follows; taken before the other
  std::map<std::int64_t, MattePlane> waiting_;  // by index
  std::int64_t inTurn_ = 0;
};

}  // namespace

bool streamMattes(const KeyJob& job, const AnimatedSettings& settings, std::shared_ptr<const PictureIndex> index,
                  Precedence& precedence, const std::atomic<bool>& stop, const MatteStream& stream) {
  return Run(job, settings, std::move(index), precedence, stop, stream).all(job.threads);
}

}  // namespace kalvetra
