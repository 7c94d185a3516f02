#include "deep/backdrop.h"

#include <algorithm>

#include "deep/plate_kernels.h"

namespace kalvetra::deep {

namespace {

// Bytes are enlarged linearly (one lobe of this filter ripples by a third of a step between pixels of the small copy,
// which bytes hide); two lobes ripple by a sixteenth.
constexpr int kEnlargingLobes = 2;

}  // namespace

Backdrop::Backdrop(const ConstFrame& frame, bool blueScreen, const KALVETRA_Param& param, const KnownPlate* given,
                   const Workers* workers)
    : width_(frame.width), height_(frame.height), blueScreen_(blueScreen) {
  if (given != nullptr) {
    given_ = given->picture;
  } else {
    estimate(frame, param, workers);
  }
  const PlateSize size = own_ ? PlateSize{own_->width(), own_->height()} : PlateSize{given_.width, given_.height};
  if (size.width != width_ || size.height != height_) {
    enlarging_.emplace(size, PlateSize{width_, height_}, kEnlargingLobes);
  }
}

void Backdrop::estimate(const ConstFrame& frame, const KALVETRA_Param& param, const Workers* workers) {
  const PlateSize size = plateSize(width_, height_);
  own_.emplace(size.width, size.height);
  const Resampling reducing({width_, height_}, size, kReducingLobes);
  const Bands bands(workers, size.height);
  std::vector<ReducedRows> reduced;
  for (int band = 0; band < bands.count(); ++band) {
    reduced.emplace_back(reducing, frame, blueScreen_, bands.first(band));
  }
  bands.run([&](int band, int first, int end) {
    for (int y = first; y < end; ++y) reduced[static_cast<std::size_t>(band)].next(own_->row(y));
  });
  const bool madeOfFrame = makePlate(param, *own_), reducedAtAll = size.width != width_ || size.height != height_;
  if (madeOfFrame && reducedAtAll) lossOfReducing_ = 0.5f;
}

Backdrop::Rows::Rows(const Backdrop& backdrop, int firstRow, int kept)
    : backdrop_(backdrop), rows_(backdrop.width_, kept), kept_(kept) {
  if (!backdrop.enlarging_) return;
  const Resampling& enlarging = *backdrop.enlarging_;
  for (const Window& window : enlarging.down.windows) ringRows_ = std::max(ringRows_, window.last - window.first + 1);
  done_ = std::max(enlarging.down.windows[static_cast<std::size_t>(firstRow)].first - 1, 0);
  ring_.emplace(backdrop.width_, ringRows_);
  wide_.resize(RowBuffer::room(backdrop.width_) * 4);
  window_.resize(static_cast<std::size_t>(ringRows_));
  if (backdrop.own_) return;
  loaded_.emplace(enlarging.from.width, 1);
  source_.resize(RowBuffer::room(enlarging.from.width) * 4);
}

ConstRow Backdrop::Rows::row(int y) {
  const Row out = rows_.row(y % kept_);
  if (backdrop_.enlarging_) {
    enlarge(y, out);
  } else if (backdrop_.own_) {
    separate(backdrop_.own_->row(y), out, backdrop_.width_);
  } else {
    loadRow(backdrop_.given_, y, backdrop_.blueScreen_, out);
  }
  return out;
}

const float* Backdrop::Rows::sourcePixels(int y) {
  if (backdrop_.own_) return backdrop_.own_->row(y);
  loadRow(backdrop_.given_, y, backdrop_.blueScreen_, loaded_->row(0));
  interleave(loaded_->row(0), source_.data(), backdrop_.enlarging_->from.width);
  return source_.data();
}

// Along first: the rows to be taken along are those of the small picture.
void Backdrop::Rows::enlarge(int y, Row out) {
  const Resampling& enlarging = *backdrop_.enlarging_;
  const Window& window = enlarging.down.windows[static_cast<std::size_t>(y)];
  for (; done_ < window.last; ++done_) {
    resampleAlong(sourcePixels(done_), enlarging.across, wide_.data());
    separate(wide_.data(), ring_->row(done_ % ringRows_), backdrop_.width_);
  }
  const float* const weights = enlarging.down.weights.data() + window.taps;
  const auto plane = [&](float* Row::*channel) {
    std::size_t count = 0;
    for (int k = window.first; k <= window.last; ++k) window_[count++] = ring_->row((k - 1) % ringRows_).*channel;
    weightedSum(window_.data(), weights, count, out.*channel, RowBuffer::room(backdrop_.width_));
  };
  plane(&Row::red);
  plane(&Row::green);
  plane(&Row::blue);
}

}  // namespace kalvetra::deep
