#include "imaging/simd/resampled_rows.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "imaging/memory.h"
#include "imaging/simd/resample_kernels.h"

namespace kalvetra::simd {

namespace {

constexpr int kFewTaps = 6;  // up to here, forming pairs costs more than it gains

// Intermediate values, at most 255 times the taps' magnitudes, must fit 16 bits.
bool fitsShort(const Taps& table) {
  for (const Window& window : table.windows) {
    std::int64_t sum = 0;
    for (int k = window.first; k <= window.last; ++k) {
      sum += std::abs(std::int64_t{table.taps[window.taps + static_cast<std::size_t>(k - window.first)]});
    }
    if (sum > std::int64_t{127} << 16) return false;
  }
  return true;
}

bool pairsPay(const Taps& table) {
  int longest = 0;
  for (const Window& window : table.windows) longest = std::max(longest, window.last - window.first + 1);
  const auto isShort = [](int tap) {
    return tap >= std::numeric_limits<std::int16_t>::min() && tap <= std::numeric_limits<std::int16_t>::max();
  };
  return longest > kFewTaps && std::all_of(table.taps.begin(), table.taps.end(), isShort);
}

// Groups of kPixels pixels from an even one on, with taps of 0 outside the window.
void spreadPairs(const Taps& table, RowPlan& plan) {
  for (const Window& window : table.windows) {
    const int start = (window.first - 1) & ~1;
    const int groups = window.first > window.last ? 0 : (window.last - start + RowPlan::kPixels - 1) / RowPlan::kPixels;
    plan.windows.push_back({start, groups, plan.pairs.size()});
    for (int group = 0; group < groups; ++group) {
      std::int16_t taps[RowPlan::kPixels], ordered[4 * RowPlan::kPixels];
      for (int i = 0; i < RowPlan::kPixels; ++i) {
        const int k = start + group * RowPlan::kPixels + i + 1;
        const bool inside = k >= window.first && k <= window.last;
        taps[i] = inside
                      ? static_cast<std::int16_t>(table.taps[window.taps + static_cast<std::size_t>(k - window.first)])
                      : std::int16_t{0};
      }
      orderTaps(taps, ordered);
      plan.pairs.insert(plan.pairs.end(), std::begin(ordered), std::end(ordered));
    }
  }
}

RowPlan makePlan(Taps table, int outputWidth) {
  RowPlan plan;
  plan.outputWidth = outputWidth;
  plan.paired = pairsPay(table);
  if (plan.paired) {
    spreadPairs(table, plan);
  } else {
    plan.windows = std::move(table.windows);
    plan.taps = std::move(table.taps);
  }
  return plan;
}

}  // namespace

ResamplePlan::ResamplePlan(int width, int height, int outputWidth, int outputHeight, int filter, int lobes)
    : width_(width), height_(height), vertical_(makeTaps(height, outputHeight, filter, lobes)) {
  Taps horizontal = makeTaps(width, outputWidth, filter, lobes);
  possible_ = fitsShort(horizontal);
  if (!possible_) return;
  horizontal_ = makePlan(std::move(horizontal), outputWidth);
  for (const Window& window : vertical_.windows) longest_ = std::max(longest_, window.last - window.first + 1);
}

ResampledRows::ResampledRows(const ResamplePlan& plan, const unsigned char* source, std::ptrdiff_t stride, int firstRow)
    : plan_(plan),
      source_(source),
      stride_(stride),
      rowValues_(static_cast<std::size_t>(plan.horizontal_.outputWidth) * 4),
      ringRows_(std::min(plan.longest_, plan.height_) + kRowsAtOnce),
      done_(std::max(plan.vertical_.windows[static_cast<std::size_t>(firstRow)].first - 1, 0)),
      row_(firstRow),
      ring_(uninitialized<std::int16_t>(static_cast<std::size_t>(ringRows_) * rowValues_)) {
  windowRows_.reserve(static_cast<std::size_t>(plan.longest_));
  if (!plan.horizontal_.paired) return;
  // A window may reach past the row by up to two groups, whose taps are 0.
  pairedBytes_ = (static_cast<std::size_t>(plan.width_) / RowPlan::kPixels + 3) * RowPlan::kPixels * 4;
  paired_ = std::make_unique<unsigned char[]>(pairedBytes_ * kRowsAtOnce);
}

std::int16_t* ResampledRows::slot(int row) const {
  return ring_.get() + static_cast<std::size_t>(row % ringRows_) * rowValues_;
}

// Resamples source rows up to `lastRow`, in fours where they are paired: after the last one the last is repeated.
void ResampledRows::fillTo(int lastRow) {
  while (done_ <= lastRow && done_ < plan_.height_) {
    if (!plan_.horizontal_.paired) {
      resampleRow(plan_.horizontal_, source_ + done_ * stride_, slot(done_));
      ++done_;
      continue;
    }
    const unsigned char* rows[kRowsAtOnce];
    std::int16_t* results[kRowsAtOnce];
    for (int i = 0; i < kRowsAtOnce; ++i) {
      unsigned char* ordered = paired_.get() + pairedBytes_ * static_cast<std::size_t>(i);
      orderPairs(source_ + std::min(done_ + i, plan_.height_ - 1) * stride_, ordered,
                 static_cast<std::size_t>(plan_.width_));
      rows[i] = ordered;
      results[i] = slot(done_ + i);
    }
    resamplePairedRows(plan_.horizontal_, rows, results);
    done_ += kRowsAtOnce;
  }
}

void ResampledRows::next(unsigned char* row) {
  const Window& window = plan_.vertical_.windows[static_cast<std::size_t>(row_++)];
  fillTo(window.last - 1);
  windowRows_.clear();
  for (int k = window.first; k <= window.last; ++k) windowRows_.push_back(slot(k - 1));
  resampleColumns(windowRows_.data(), plan_.vertical_.taps.data() + window.taps, windowRows_.size(), row, rowValues_);
}

}  // namespace kalvetra::simd
