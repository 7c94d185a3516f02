#include "deep/resampling.h"

#include <algorithm>
#include <cstddef>

#include "deep/plate_kernels.h"

namespace kalvetra::deep {

namespace {

const Window& windowAt(const Weights& weights, int i) { return weights.windows[static_cast<std::size_t>(i)]; }

// The most windows that any index lies in. Their ends ascend.
int mostOverlapping(const Weights& weights) {
  const int count = static_cast<int>(weights.windows.size());
  int most = 1;
  for (int i = 0, end = 0; i < count; ++i) {
    while (end < count && windowAt(weights, end).first <= windowAt(weights, i).last) ++end;
    most = std::max(most, end - i);
  }
  return most;
}

}  // namespace

Resampling::Resampling(PlateSize source, PlateSize result, int lobes)
    : from(source),
      to(result),
      across(makeWeights(source.width, result.width, kLanczos, lobes)),
      down(makeWeights(source.height, result.height, kLanczos, lobes)) {}

ReducedRows::ReducedRows(const Resampling& reducing, const ConstFrame& frame, bool blueScreen, int firstRow)
    : reducing_(reducing),
      frame_(frame),
      blueScreen_(blueScreen),
      row_(firstRow),
      source_(windowAt(reducing.down, firstRow).first - 1),
      open_(mostOverlapping(reducing.down)),
      loaded_(frame.width, 1),
      sums_(frame.width, open_),
      pixels_(RowBuffer::room(frame.width) * 4) {}

Row ReducedRows::sums(int row) { return sums_.row(row % open_); }

// Into the sums of every row whose window it lies in.
void ReducedRows::take(int sourceRow) {
  const Row from = loaded_.row(0);
  loadRow(frame_, sourceRow, blueScreen_, from);
  const int index = sourceRow + 1;
  for (int row = row_; row < reducing_.to.height; ++row) {
    const Window& window = windowAt(reducing_.down, row);
    if (window.first > index) break;
    if (window.last < index) continue;
    const float weight = reducing_.down.weights[window.taps + static_cast<std::size_t>(index - window.first)];
    const Row to = sums(row);
    accumulate(from.red, weight, to.red, frame_.width);
    accumulate(from.green, weight, to.green, frame_.width);
    accumulate(from.blue, weight, to.blue, frame_.width);
  }
}

void ReducedRows::next(float* pixels) {
  const Window& window = windowAt(reducing_.down, row_);
  for (; source_ < window.last; ++source_) take(source_);
  const Row finished = sums(row_);
  interleave(finished, pixels_.data(), frame_.width);
  resampleAlong(pixels_.data(), reducing_.across, pixels);
  for (float* plane : {finished.red, finished.green, finished.blue}) {
    std::fill_n(plane, RowBuffer::room(frame_.width), 0.0f);
  }
  ++row_;
}

}  // namespace kalvetra::deep
