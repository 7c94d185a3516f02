// Work in the background rests while the user waits for something.
#pragma once

#include <atomic>
#include <chrono>
#include <mutex>

namespace kalvetra {

class Precedence {
 public:
  // Held while a request that the user waits for is worked on.
  class Urgent {
   public:
    explicit Urgent(Precedence& precedence) : precedence_(precedence) { precedence_.begin(); }
    ~Urgent() { precedence_.end(); }
    Urgent(const Urgent&) = delete;
    Urgent& operator=(const Urgent&) = delete;

   private:
    Precedence& precedence_;
  };

  // For work in the background, before every small step: waits until nothing has been urgent for a moment, or until
  // `stop` is true.
  void giveWay(const std::atomic<bool>& stop);

 private:
  static constexpr std::chrono::milliseconds kMoment{150};
  static constexpr std::chrono::milliseconds kStep{10};  // between two looks

  void begin();
  void end();
  bool isQuiet();

  std::mutex mutex_;
  int urgent_ = 0;
  std::chrono::steady_clock::time_point quietSince_{};
};

}  // namespace kalvetra
