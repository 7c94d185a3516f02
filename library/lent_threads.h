// The threads of one call.
#pragma once

#include <tbb/parallel_for.h>
#include <tbb/partitioner.h>
#include <tbb/task_arena.h>

#include <functional>
#include <optional>

#include "engine/workers.h"
#include "library/frames.h"

namespace kalvetra {

// As many as the options say, at the CPU level that they name, for as long as it stands.
class LentThreads {
 public:
  explicit LentThreads(const CallOptions& options) {
    if (options.cpu) level_.emplace(*options.cpu);
    if (options.threads == 1) return;
    arena_.emplace(options.threads);
    workers_ = {options.threads, [this](int parts, const std::function<void(int)>& work) {
                  arena_->execute([&] {
                    tbb::parallel_for(
                        0, parts, [&](int part) { work(part); }, tbb::simple_partitioner{});
                  });
                }};
  }
  LentThreads(const LentThreads&) = delete;
  LentThreads& operator=(const LentThreads&) = delete;

  // Null for the calling thread alone.
  const Workers* workers() const { return arena_ ? &workers_ : nullptr; }

 private:
  std::optional<CpuLevelScope> level_;
  std::optional<tbb::task_arena> arena_;
  Workers workers_{};
};

}  // namespace kalvetra
