// The plate repair on maps of its holes. Plain loops, which compilers make vectors of, but for the column means.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "engine/hole_map.h"
#include "engine/simd/column_sums.h"
#include "engine/simd/kernels.h"
#include "imaging/numeric.h"

namespace kalvetra::simd {

namespace {

class HoleFiller {
 public:
  HoleFiller(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes)
      : image_(image), width_(width), height_(height), rowBytes_(rowBytes) {}

  void fill(const unsigned char (&key)[3]) {
    averageOr(key);
    HoleMap surviving = survivors();
    HoleStates states(surviving, width_, height_);
    states.forEachRun([this](int y, int first, int end) { fillRun(y, first, end); });
    settle(states);
  }

 private:
  unsigned char* at(int x, int y) const { return image_ + y * rowBytes_ + std::ptrdiff_t{4} * x; }
  void averageOr(const unsigned char (&key)[3]);
  HoleMap survivors() const;
  void fillRun(int y, int first, int end);
  void settle(HoleStates& states);
  void makeColumns();

  unsigned char* image_;
  int width_, height_;
  std::ptrdiff_t rowBytes_;
  unsigned char average_[3];
  Columns columns_;
};

// Black pixels add nothing to the sums.
void HoleFiller::averageOr(const unsigned char (&key)[3]) {
  std::uint64_t sums[3] = {0, 0, 0}, count = 0;
  for (int y = 0; y < height_; ++y) {
    std::uint32_t row[3] = {0, 0, 0}, seen = 0;
    const unsigned char* pixel = at(0, y);
    for (int x = 0; x < width_; ++x, pixel += 4) {
      for (int c = 0; c < 3; ++c) row[c] += pixel[c];
      seen += (pixel[0] | pixel[1] | pixel[2]) != 0 ? 1 : 0;
    }
    for (int c = 0; c < 3; ++c) sums[c] += row[c];
    count += seen;
  }
  for (int c = 0; c < 3; ++c) average_[c] = count == 0 ? key[c] : static_cast<unsigned char>(sums[c] / count);
}

HoleMap HoleFiller::survivors() const {
  HoleMap surviving(width_, height_, 0);
  for (int y = 0; y < height_; ++y) {
    const unsigned char* pixel = at(0, y);
    unsigned char* row = surviving.row(y);
    for (int x = 0; x < width_; ++x, pixel += 4) row[x] = (pixel[0] | pixel[1] | pixel[2]) != 0 ? 1 : 0;
  }
  return surviving;
}

void HoleFiller::fillRun(int y, int first, int end) {
  const bool hasLeft = first > 0, hasRight = end < width_;
  const unsigned char* left = hasLeft ? at(first - 1, y) : hasRight ? at(end, y) : average_;
  const unsigned char* right = hasRight ? at(end, y) : left;
  const auto steps = static_cast<float>(std::int64_t{end} - first + 2);
  unsigned char* pixel = at(first, y);
  for (int k = 1; k <= end - first; ++k, pixel += 4) {
    for (int c = 0; c < 3; ++c) {
      const std::int64_t rise = std::int64_t{right[c] - left[c]} * k;
      pixel[c] = truncToByte(static_cast<float>(left[c]) + static_cast<float>(rise) / steps);
    }
  }
}

void HoleFiller::makeColumns() {
  constexpr std::size_t kRoom = 64;  // pixels, at least a vector
  columns_.height = height_;
  columns_.pixels.resize(static_cast<std::size_t>(height_) * static_cast<std::size_t>(width_) + kRoom);
  for (int y = 0; y < height_; ++y) {
    std::uint32_t* to = columns_.pixels.data() + y;
    for (int x = 0; x < width_; ++x, to += height_) {
      const unsigned char* pixel = at(x, y);
      const std::uint32_t color = pixel[0] | std::uint32_t{pixel[1]} << 8 | std::uint32_t{pixel[2]} << 16;
      *to = color == 0 ? 0 : color | 1u << 24;
    }
  }
}

// A pass reads its columns before it changes any of them. Every hole is settled once.
void HoleFiller::settle(HoleStates& states) {
  makeColumns();
  std::vector<std::uint32_t> means;
  const auto pixelAt = [this](Cell c) -> std::uint32_t& {
    return columns_
        .pixels[static_cast<std::size_t>(c.x) * static_cast<std::size_t>(height_) + static_cast<std::size_t>(c.y)];
  };
  for (int reach = 1; !states.frontier().empty(); reach = std::min(reach + 1, height_)) {
    const std::vector<Cell>& frontier = states.frontier();
    means.resize(frontier.size());
    columnMeans(columns_, frontier.data(), frontier.size(), reach, means.data());
    for (std::size_t i = 0; i < frontier.size(); ++i) pixelAt(frontier[i]) = means[i];
    states.advance();
  }
  for (const Cell cell : states.holes()) {
    const std::uint32_t color = pixelAt(cell);
    unsigned char* pixel = at(cell.x, cell.y);
    for (int c = 0; c < 3; ++c) pixel[c] = static_cast<unsigned char>(color >> 8 * c);
  }
}

}  // namespace

// A hole is a pixel without red; what is next to one becomes black, and so a hole for the next pass.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count) {
  HoleMap holes(width, height, 0);
  for (int y = 0; y < height; ++y) {
    const unsigned char* pixel = image + y * rowBytes;
    unsigned char* row = holes.row(y);
    for (int x = 0; x < width; ++x) row[x] = pixel[4 * x + 2] == 0 ? 1 : 0;
  }
  HoleMap blackened = nextToHoles(holes, width, height, count);
  for (int y = 0; y < height; ++y) {
    const unsigned char* black = blackened.row(y);
    for (int x = 0; x < width; ++x) {
      if (black[x] != 0) std::memset(image + y * rowBytes + std::ptrdiff_t{4} * x, 0, 3);
    }
  }
}

void fillHoles(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, const unsigned char (&keyBGR)[3]) {
  HoleFiller(image, width, height, rowBytes).fill(keyBGR);
}

}  // namespace kalvetra::simd
