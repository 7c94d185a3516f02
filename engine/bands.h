// The rows of a picture in bands, for the threads that a caller lends.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>

#include "cpu/cpu_level.h"
#include "engine/workers.h"

namespace kalvetra {

class Bands {
 public:
  // `workers` may be null, and must stay while bands are run.
  Bands(const Workers* workers, int rows)
      : workers_(workers), rows_(rows), count_(workers == nullptr ? 1 : bandsFor(workers->count, rows)) {}

  int count() const { return count_; }
  // The first row of a band; that of `count()` is the number of rows.
  int first(int band) const { return static_cast<int>(std::int64_t{rows_} * band / count_); }

  // Calls work(band, firstRow, endRow) for every band, at the calling thread's CPU level; returns when all have ended.
  // `work` throws nothing: whatever it needs is allocated before.
  template <class Work>
  void run(const Work& work) const {
    const CpuLevel level = cpuLevel();
    const auto part = [&](int band) noexcept {
      const CpuLevelScope scope(level);
      work(band, first(band), first(band + 1));
    };
    if (count_ == 1) {
      part(0);
    } else {
      workers_->run(count_, std::ref(part));  // by reference: a std::function of it allocates nothing
    }
  }

 private:
  static constexpr int kLeastRows = 16;    // of a band: neighbours share rows that both have to read
  static constexpr int kBandsAThread = 2;  // rows full of edges take several times as long as plain ones

  static int bandsFor(int threads, int rows) {
    const int most = std::max(rows / kLeastRows, 1);
    return std::min(std::clamp(threads, 1, most) * kBandsAThread, most);
  }

  const Workers* workers_;
  int rows_, count_;
};

}  // namespace kalvetra
