#include "imaging/simd/box_rows.h"

#include <algorithm>

#include "imaging/sliding_box.h"

namespace kalvetra::simd {

namespace {

std::vector<float> weights(int size, int radius, std::size_t channels) {
  std::vector<float> result;
  result.reserve(static_cast<std::size_t>(size) * channels);
  for (const int count : windowCounts(size, radius))
    result.insert(result.end(), channels, 1.0f / static_cast<float>(count));
  return result;
}

}  // namespace

BoxRows::BoxRows(int width, int height, int channels, int radius, const BoxScale& scale)
    : width_(width),
      height_(height),
      radius_(effectiveRadius(width, height, radius)),
      channels_(static_cast<std::size_t>(channels)),
      values_(static_cast<std::size_t>(width) * channels_),
      scale_(scale),
      columns_(values_),
      sums_(values_ + static_cast<std::size_t>(2 * radius_ + 2) * channels_),
      columnWeights_(weights(width, radius_, channels_)),
      rowWeights_(weights(height, radius_, 1)) {}

bool BoxRows::possible(int width, int height, int radius) {
  const std::int64_t window = 2 * std::int64_t{radius} + 1;
  return std::min<std::int64_t>(window, width) * std::min<std::int64_t>(window, height) < (std::int64_t{1} << 31) / 255;
}

void BoxRows::add(const unsigned char* entering, const unsigned char* leaving) {
  slideColumns(columns_.data(), entering, leaving, values_);
}

// sums_[x + radius + 1] becomes the sum of the columns up to x. On a row that is not longer than the radius, the last
// column never enters a sum.
void BoxRows::sumAlong() {
  const std::size_t start = static_cast<std::size_t>(radius_ + 1) * channels_;
  std::uint32_t* sums = sums_.data() + start;
  const std::size_t summed = width_ > radius_ ? values_ : values_ - channels_;
  sumRow(columns_.data(), sums, summed, channels_);
  for (std::size_t i = start + summed; i < sums_.size(); ++i) sums_[i] = sums_[i - channels_];
}

void BoxRows::write(int y, unsigned char* result) {
  sumAlong();
  const std::size_t window = static_cast<std::size_t>(2 * radius_ + 1) * channels_;
  averageBoxes(sums_.data(), sums_.data() + window, columnWeights_.data(), rowWeights_[static_cast<std::size_t>(y)],
               scale_, result, values_);
}

}  // namespace kalvetra::simd
