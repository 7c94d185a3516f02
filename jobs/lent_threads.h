// Threads of a job that share the work on one picture.
#pragma once

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include "engine/workers.h"

namespace kalvetra {

class LentThreads {
 public:
  explicit LentThreads(int count)
      : arena_(count), workers_{count, [this](int parts, const auto& work) {
                                  arena_.execute([&] { tbb::parallel_for(0, parts, work); });
                                }} {}
  LentThreads(const LentThreads&) = delete;
  LentThreads& operator=(const LentThreads&) = delete;
  const Workers* workers() const { return &workers_; }

 private:
  tbb::task_arena arena_;
  Workers workers_;
};

}  // namespace kalvetra
