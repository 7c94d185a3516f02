// How many threads work at once.
#pragma once

#include <tbb/global_control.h>
#include <tbb/task_arena.h>

#include <cstddef>

namespace kalvetra {

// As long as it lives, oneTBB works with at most that many threads (from 1), the calling one among them.
class ThreadLimit {
 public:
  explicit ThreadLimit(int threads) : limit_(kind(), static_cast<std::size_t>(threads)) {}

 private:
  // oneTBB takes memory for a thread that it meets for the first time. Where that fails below a global_control, the
  // latter's destructor waits for ever; so they meet before there is one.
  static tbb::global_control::parameter kind() {
    tbb::task_arena(1).execute([] {});
    return tbb::global_control::max_allowed_parallelism;
  }

  tbb::global_control limit_;
};

}  // namespace kalvetra
