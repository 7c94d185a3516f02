#include "deep/box_averages.h"

#include <algorithm>
#include <cmath>

#include "deep/matte_kernels.h"
#include "deep/rows.h"
#include "imaging/sliding_box.h"

namespace kalvetra::deep {

namespace {

int bitsOf(int count) {
  int bits = 0;
  while (count >> bits != 0) ++bits;
  return bits;
}

// Sums of so many values stay below 2^30.
float scaleFor(int values, float largest) {
  const int bits = std::min(16, 30 - bitsOf(values) - bitsOf(static_cast<int>(largest)));
  return std::ldexp(1.0f, bits);
}

}  // namespace

BoxAverages::BoxAverages(int width, int height, int radius, float largest)
    : width_(width),
      height_(height),
      radius_(effectiveRadius(width, height, radius)),
      largest_(largest),
      scale_(scaleFor(std::min(2 * radius_ + 1, std::max(width, height)), largest)),
      columns_(RowBuffer::room(width)),
      means_(columns_.size()),
      sums_(columns_.size() + static_cast<std::size_t>(2 * radius_ + 1)),
      columnWeights_(columns_.size()) {
  const std::vector<int> counts = windowCounts(width, radius_);
  std::transform(counts.begin(), counts.end(), columnWeights_.begin(),
                 [this](int count) { return 1.0f / (static_cast<float>(count) * scale_); });
}

void BoxAverages::slide(const float* entering, const float* leaving) {
  slideColumns({largest_, scale_}, entering, leaving, columns_.data(), columns_.size());
}

// sums_[x + radius + 1] becomes the sum of the columns up to x.
void BoxAverages::write(int y, float* result) {
  const int rows = std::min(y + radius_, height_ - 1) - std::max(y - radius_, 0) + 1;
  meansOf(columns_.data(), 1.0f / static_cast<float>(rows), means_.data(), means_.size());
  std::uint32_t sum = 0;
  std::int32_t* to = sums_.data() + radius_ + 1;
  for (int x = 0; x < width_; ++x) {
    sum += static_cast<std::uint32_t>(means_[static_cast<std::size_t>(x)]);
    to[x] = static_cast<std::int32_t>(sum);
  }
  std::fill(sums_.begin() + radius_ + 1 + width_, sums_.end(), static_cast<std::int32_t>(sum));
  windowMeans(sums_.data(), sums_.data() + 2 * radius_ + 1, columnWeights_.data(), result, means_.size());
}

}  // namespace kalvetra::deep
