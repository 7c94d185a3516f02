#include "imaging/simd/chroma_rows.h"

#include <algorithm>

#include "imaging/memory.h"

namespace kalvetra::simd {

namespace {

// sum / count, rounded down, as (sum + 1/2) * weights: half a step away from any integer it is off by 1/2 count at
// least, while four roundings of a value below 256 add up to 2^-14; so it is exact up to windows of 8191 pixels.
constexpr BoxScale kWholePart{0.5f, 1.0f, 0.0f};

}  // namespace

ChromaRows::ChromaRows(const unsigned char* image, std::ptrdiff_t stride, ByteOrder order, int width, int height,
                       int radius, int firstRow)
    : image_(image),
      stride_(stride),
      order_(order),
      width_(width),
      height_(height),
      radius_(std::max(radius, 0)),
      ringRows_(std::min(2 * radius_ + 2, height)),
      split_(std::max(firstRow - radius_ - 1, 0)),
      row_(firstRow),
      box_(width, height, 2, radius_, kWholePart),
      luma_(uninitialized<unsigned char>(static_cast<std::size_t>(ringRows_) * static_cast<std::size_t>(width))),
      chroma_(uninitialized<unsigned char>(static_cast<std::size_t>(ringRows_) * static_cast<std::size_t>(width) * 2)),
      blurred_(uninitialized<unsigned char>(static_cast<std::size_t>(width) * 2)) {}

void ChromaRows::next(unsigned char* row) {
  const auto pixels = static_cast<std::size_t>(width_);
  for (; split_ <= std::min(row_ + radius_, height_ - 1); ++split_) {
    splitChroma(image_ + split_ * stride_, order_, luma(split_), chroma(split_), pixels);
  }
  box_.average(
      row_, [this](int i) { return chroma(i); }, blurred_.get());
  joinChroma(luma(row_), blurred_.get(), order_, row, pixels);
  ++row_;
}

}  // namespace kalvetra::simd
