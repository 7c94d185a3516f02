#include "preview/matte_stream.h"

#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <thread>

#include "jobs/clip_reader.h"
#include "preview/thread_priority.h"

namespace kalvetra {

namespace {

void takeAlpha(const Image& image, MattePlane& matte) {
  matte.resize(image.argb.size() / 4);
  for (std::size_t i = 0; i < matte.size(); ++i) matte[i] = image.argb[4 * i];
}

class Run {
 public:
  Run(const KeyJob& job, const AnimatedSettings& settings, Precedence& precedence, const std::atomic<bool>& stop,
      const MatteStream& stream)
      : settings_(settings),
        precedence_(precedence),
        stop_(stop),
        stream_(stream),
        reader_(job.input, job.source, job.threads, stop),
        fields_(keysFields(job, reader_.format())),
        clip_(reader_, job.range),
        ahead_(2 * job.threads) {}

  void all(int threads) {
    stream_.begin(reader_);
    std::vector<std::thread> workers;
    try {
      for (int i = 0; i < threads; ++i) workers.emplace_back([this] { work(); });
    } catch (...) {  // the system has no more threads
      fail(std::current_exception());
    }
    for (std::thread& worker : workers) worker.join();
    if (failure_) std::rethrow_exception(failure_);
  }

 private:
  void work() noexcept {
    try {
      lowerPriority();
      FrameKeyer keyer(reader_.format().color, {false, fields_}, fields_);
      ClipFrame frame;
      while (read(frame)) {
        keyer.begin(*frame.source.picture, settings_.at(frame.number), {});
        MattePlane matte;
        takeAlpha(keyer.view(ShownView::Result), matte);
        deliver(frame.index, std::move(matte));
      }
    } catch (...) {
      fail(std::current_exception());
    }
  }

  bool read(ClipFrame& frame) {
    precedence_.giveWay(stop_);
    std::unique_lock lock(mutex_);
    // One slow frame must not let those behind it pile up.
    delivered_.wait(lock, [&] { return over_ || taken_ < written_ + ahead_; });
    if (over_ || stop_ || !clip_.next(frame)) {
      over_ = true;
      delivered_.notify_all();
      return false;
    }
    ++taken_;
    return true;
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
  Reader reader_;
  const bool fields_;

  std::mutex mutex_;  // of the clip and what follows
  std::condition_variable delivered_;
  ClipReader clip_;
  const std::int64_t ahead_;
  std::int64_t taken_ = 0, written_ = 0;  // frames
  bool over_ = false;
  std::exception_ptr failure_;

  std::mutex orderMutex_;                       // of what follows; taken before the other
  std::map<std::int64_t, MattePlane> waiting_;  // by index
  std::int64_t inTurn_ = 0;
};

}  // namespace

void streamMattes(const KeyJob& job, const AnimatedSettings& settings, Precedence& precedence,
                  const std::atomic<bool>& stop, const MatteStream& stream) {
  Run(job, settings, precedence, stop, stream).all(job.threads);
}

}  // namespace kalvetra
