// The plate repair on maps with a frame round them, so that no neighbour needs a test, and with lists of what a pass
// touches. Plain loops, which compilers make vectors of, but for the column means.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "engine/simd/column_sums.h"
#include "engine/simd/kernels.h"
#include "imaging/numeric.h"

namespace kalvetra::simd {

namespace {

// One byte a pixel, with a frame of one pixel.
class Map {
 public:
  Map(int width, int height, unsigned char frame)
      : stride_(static_cast<std::size_t>(width) + 2), bytes_(stride_ * (static_cast<std::size_t>(height) + 2), frame) {}
  unsigned char* row(int y) { return bytes_.data() + static_cast<std::size_t>(y + 1) * stride_ + 1; }
  bool operator==(const Map&) const = default;

 private:
  std::size_t stride_;
  std::vector<unsigned char> bytes_;
};

// Whether any of the 8 neighbours is set, for maps of 0 and 1.
void anyNeighbour(Map& map, int y, int width, unsigned char* result) {
  const unsigned char *above = map.row(y - 1), *row = map.row(y), *below = map.row(y + 1);
  for (int x = 0; x < width; ++x) {
    result[x] = static_cast<unsigned char>(above[x - 1] | above[x] | above[x + 1] | row[x - 1] | row[x + 1] |
                                           below[x - 1] | below[x] | below[x + 1]);
  }
}

enum State : unsigned char { kSettled = 0, kHole = 1, kFrontier = 2, kOutside = 4 };

class HoleFiller {
 public:
  HoleFiller(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes)
      : image_(image), width_(width), height_(height), rowBytes_(rowBytes), state_(width, height, kOutside) {}

  void fill(const unsigned char (&key)[3]) {
    averageOr(key);
    markHoles();
    for (int y = 0; y < height_; ++y) fillRow(y);
    settle();
  }

 private:
  unsigned char* at(int x, int y) const { return image_ + y * rowBytes_ + std::ptrdiff_t{4} * x; }
  void averageOr(const unsigned char (&key)[3]);
  void markHoles();
  void fillRow(int y);
  void fillRun(int y, int first, int end);
  void settle();
  void makeColumns();
  void visitNeighbours(Cell cell, std::vector<Cell>& next);

  unsigned char* image_;
  int width_, height_;
  std::ptrdiff_t rowBytes_;
  Map state_;
  unsigned char average_[3];
  std::vector<Cell> holes_, frontier_;
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

void HoleFiller::markHoles() {
  Map surviving(width_, height_, 0);
  for (int y = 0; y < height_; ++y) {
    const unsigned char* pixel = at(0, y);
    unsigned char* row = surviving.row(y);
    for (int x = 0; x < width_; ++x, pixel += 4) row[x] = (pixel[0] | pixel[1] | pixel[2]) != 0 ? 1 : 0;
  }
  std::vector<unsigned char> near(static_cast<std::size_t>(width_));
  for (int y = 0; y < height_; ++y) {
    const unsigned char* row = surviving.row(y);
    unsigned char* state = state_.row(y);
    anyNeighbour(surviving, y, width_, near.data());
    for (int x = 0; x < width_; ++x) {
      const int hole = 1 - row[x];
      state[x] = static_cast<unsigned char>(hole + hole * near[static_cast<std::size_t>(x)]);
    }
    for (int x = 0; x < width_; ++x) {
      if (state[x] == kSettled) continue;
      holes_.push_back({x, y});
      if (state[x] == kFrontier) frontier_.push_back({x, y});
    }
  }
}

void HoleFiller::fillRow(int y) {
  const unsigned char* state = state_.row(y);
  for (int x = 0; x < width_; ++x) {
    if (state[x] == kSettled) continue;
    const int first = x;
    while (x < width_ && state[x] != kSettled) ++x;
    fillRun(y, first, x);
  }
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

// The neighbours that are holes become the next frontier. Most rows of them hold none.
void HoleFiller::visitNeighbours(Cell cell, std::vector<Cell>& next) {
  static_assert((kHole & 1) != 0 && ((kSettled | kFrontier | kOutside) & 1) == 0);
  for (int y = cell.y - 1; y <= cell.y + 1; ++y) {
    unsigned char* row = state_.row(y) + cell.x - 1;
    if (((row[0] | row[1] | row[2]) & 1) == 0) continue;
    for (int i = 0; i < 3; ++i) {
      if (row[i] != kHole) continue;
      row[i] = kFrontier;
      next.push_back({cell.x - 1 + i, y});
    }
  }
}

// A pass reads its columns before it changes any of them. Every hole is settled once.
void HoleFiller::settle() {
  makeColumns();
  std::vector<std::uint32_t> means;
  std::vector<Cell> next;
  const auto pixelAt = [this](Cell c) -> std::uint32_t& {
    return columns_
        .pixels[static_cast<std::size_t>(c.x) * static_cast<std::size_t>(height_) + static_cast<std::size_t>(c.y)];
  };
  for (int reach = 1; !frontier_.empty(); reach = std::min(reach + 1, height_)) {
    means.resize(frontier_.size());
    columnMeans(columns_, frontier_.data(), frontier_.size(), reach, means.data());
    next.clear();
    for (std::size_t i = 0; i < frontier_.size(); ++i) {
      pixelAt(frontier_[i]) = means[i];
      visitNeighbours(frontier_[i], next);
    }
    frontier_.swap(next);
  }
  for (const Cell cell : holes_) {
    const std::uint32_t color = pixelAt(cell);
    unsigned char* pixel = at(cell.x, cell.y);
    for (int c = 0; c < 3; ++c) pixel[c] = static_cast<unsigned char>(color >> 8 * c);
  }
}

}  // namespace

// A hole is a pixel without red; what is next to one becomes black, and so a hole for the next pass.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count) {
  Map holes(width, height, 0), blackened(width, height, 0);
  for (int y = 0; y < height; ++y) {
    const unsigned char* pixel = image + y * rowBytes;
    unsigned char* row = holes.row(y);
    for (int x = 0; x < width; ++x) row[x] = pixel[4 * x + 2] == 0 ? 1 : 0;
  }
  Map grown = holes;
  std::vector<unsigned char> near(static_cast<std::size_t>(width));
  for (int pass = 0; pass < count; ++pass) {
    for (int y = 0; y < height; ++y) {
      anyNeighbour(holes, y, width, near.data());
      unsigned char *black = blackened.row(y), *hole = grown.row(y);
      for (int x = 0; x < width; ++x) {
        black[x] = static_cast<unsigned char>(black[x] | near[static_cast<std::size_t>(x)]);
        hole[x] = static_cast<unsigned char>(hole[x] | black[x]);
      }
    }
    if (grown == holes) break;  // nor will any further pass change them
    holes = grown;
  }
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
