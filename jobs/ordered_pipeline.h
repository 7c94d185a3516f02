// Items that are read one after the other, worked on several at once, and written in the order of reading.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace kalvetra {

template <class Item>
class OrderedPipeline {
 public:
  struct Stages {
    // The next item; false after the last. One call at a time.
    std::function<bool(Item& item)> read;
    // Called once on each thread: what that thread does with its items.
    std::function<std::function<void(Item& item)>()> startWorker;
    // One call at a time, in the order of reading.
    std::function<void(Item& item)> write;
  };

  // Returns when the last item was written. On `threads` threads, from 1, the calling one among them, or on as many of
  // them as the system grants; any of them does what is next to be done. So many items and two more are under way at
  // most. Of the exceptions of all stages the first is thrown; nothing is read, worked on or written after it but what
  // was begun by then.
  static void run(const Stages& stages, int threads) { OrderedPipeline(stages, threads).runAll(threads); }

 private:
  OrderedPipeline(const Stages& stages, int threads) : stages_(stages), mostUnderWay_(threads + 2) {}

  void runAll(int threads) {
    std::vector<std::thread> others;
    try {
      for (int i = 1; i < threads; ++i) others.emplace_back([this] { work(); });
    } catch (const std::system_error&) {  // no more threads are to be had: those that are there do the work
    } catch (...) {
      fail(std::current_exception());
    }
    work();
    for (std::thread& other : others) other.join();
    if (failure_) std::rethrow_exception(failure_);
  }

  void work() noexcept {
    try {
      const auto workOn = stages_.startWorker();
      Item item;
      for (std::int64_t index = 0; read(item, index); item = Item()) {
        workOn(item);
        deliver(std::move(item), index);
      }
    } catch (...) {
      fail(std::current_exception());
    }
  }

  bool read(Item& item, std::int64_t& index) {
    const std::lock_guard turn(reading_);
    {
      std::unique_lock lock(mutex_);
      // One slow item must not let those after it pile up.
      changed_.wait(lock, [&] { return over_ || read_ < written_ + mostUnderWay_; });
      if (over_) return false;
      index = read_++;
    }
    if (stages_.read(item)) return true;
    end();
    return false;
  }

  // Whoever delivers the item whose turn it is writes all that have come by then; nobody waits for that.
  void deliver(Item item, std::int64_t index) {
    std::unique_lock lock(mutex_);
    waiting_.emplace(index, std::move(item));
    if (writing_) return;
    writing_ = true;
    while (!failure_ && !waiting_.empty() && waiting_.begin()->first == written_) {
      Item next = std::move(waiting_.extract(waiting_.begin()).mapped());
      lock.unlock();
      stages_.write(next);
      lock.lock();
      ++written_;
      changed_.notify_all();
    }
    writing_ = false;
  }

  void end() {
    const std::lock_guard lock(mutex_);
    over_ = true;
    changed_.notify_all();
  }

  void fail(std::exception_ptr failure) {
    const std::lock_guard lock(mutex_);
    if (!failure_) failure_ = std::move(failure);
    over_ = true;
    changed_.notify_all();
  }

  const Stages& stages_;
  const std::int64_t mostUnderWay_;
  std::mutex reading_;  // held by the thread that reads; taken before the other
  std::mutex mutex_;    // of what follows
  std::condition_variable changed_;
  std::map<std::int64_t, Item> waiting_;  // worked on, by index
  std::int64_t read_ = 0, written_ = 0;
  bool writing_ = false, over_ = false;
  std::exception_ptr failure_;
};

}  // namespace kalvetra
