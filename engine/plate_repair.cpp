// Repair of the background plate: widen the holes that extraction left, then fill them from what survived.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "cpu/vectors.h"
#include "engine/CKALVETRA.h"
#include "engine/simd/kernels.h"
#include "imaging/numeric.h"

namespace {

// Calls visit(nx, ny) for each of the 8 neighbours of (x, y) inside the image.
template <class Visit>
void forEachNeighbour(int x, int y, int width, int height, Visit visit) {
  for (int ny = std::max(y - 1, 0); ny <= std::min(y + 1, height - 1); ++ny) {
    for (int nx = std::max(x - 1, 0); nx <= std::min(x + 1, width - 1); ++nx) {
      if (nx != x || ny != y) visit(nx, ny);
    }
  }
}

bool isBlack(const unsigned char* pixel) { return pixel[0] == 0 && pixel[1] == 0 && pixel[2] == 0; }

struct Color {
  std::array<unsigned char, 3> bgr;
};

Color colorAt(const unsigned char* pixel) { return {{pixel[0], pixel[1], pixel[2]}}; }

enum State : unsigned char {
  kSurviving = 0,
  kHole = 1,
  kFrontier = 255,  // a hole with a surviving or settled neighbour: next to be settled
};

// Fills the holes of one plate. Works on the caller's image in place.
class HoleFiller {
 public:
  HoleFiller(unsigned char* image, int width, int height, int rowBytes)
      : image_(image),
        width_(width),
        height_(height),
        rowBytes_(rowBytes),
        mapBytes_(CImagingZEP().Align8(width)),
        state_(kalvetra::byteCount(mapBytes_, height)) {}

  void fill(const Color& key) {
    const Color average = averageOr(key);
    markHoles();
    for (int y = 0; y < height_; ++y) fillRow(y, average);
    settle();
  }

 private:
  unsigned char* at(int x, int y) const { return image_ + offset(x, y); }
  std::ptrdiff_t offset(int x, int y) const { return std::ptrdiff_t{y} * rowBytes_ + std::ptrdiff_t{4} * x; }
  std::size_t cell(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(mapBytes_) + static_cast<std::size_t>(x);
  }

  Color averageOr(const Color& key) const;
  void markHoles();
  void fillRow(int y, const Color& average);
  void fillRun(int y, int first, int end, const Color& average);
  void settle();
  bool settlePass(int reach, unsigned char* next, std::vector<unsigned char>& nextState) const;
  void settlePixel(int x, int y, int reach, unsigned char* result) const;

  unsigned char* image_;
  int width_, height_, rowBytes_, mapBytes_;
  std::vector<unsigned char> state_;
};

// Average of the surviving colours; `key` stands in where none survives.
Color HoleFiller::averageOr(const Color& key) const {
  std::uint64_t sums[3] = {0, 0, 0}, count = 0;
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      const unsigned char* pixel = at(x, y);
      if (isBlack(pixel)) continue;
      for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
      ++count;
    }
  }
  if (count == 0) return key;
  Color average;
  for (std::size_t c = 0; c < 3; ++c) average.bgr[c] = static_cast<unsigned char>(sums[c] / count);
  return average;
}

void HoleFiller::markHoles() {
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      if (!isBlack(at(x, y))) continue;
      bool frontier = false;
      forEachNeighbour(x, y, width_, height_, [&](int nx, int ny) { frontier = frontier || !isBlack(at(nx, ny)); });
      state_[cell(x, y)] = frontier ? kFrontier : kHole;
    }
  }
}

// Fills every run of holes in a row. The state map tells holes, since filled pixels are no longer black.
void HoleFiller::fillRow(int y, const Color& average) {
  for (int x = 0; x < width_; ++x) {
    if (state_[cell(x, y)] == kSurviving) continue;
    const int first = x;
    while (x < width_ && state_[cell(x, y)] != kSurviving) ++x;
    fillRun(y, first, x, average);
  }
}

// A ramp between the run's neighbours; next to a border the other neighbour counts twice. It stops short of the right
// neighbour's colour: a hole of one pixel lies a third of the way, not half.
void HoleFiller::fillRun(int y, int first, int end, const Color& average) {
  const bool hasLeft = first > 0, hasRight = end < width_;
  const Color left = hasLeft ? colorAt(at(first - 1, y)) : hasRight ? colorAt(at(end, y)) : average;
  const Color right = hasRight ? colorAt(at(end, y)) : left;
  const int length = end - first;
  for (int k = 1; k <= length; ++k) {
    unsigned char* pixel = at(first + k - 1, y);
    for (std::size_t c = 0; c < 3; ++c) {
      const std::int64_t rise = std::int64_t{right.bgr[c] - left.bgr[c]} * k;
      const float slope = static_cast<float>(rise) / static_cast<float>(std::int64_t{length} + 2);
      pixel[c] = kalvetra::truncToByte(static_cast<float>(left.bgr[c]) + slope);
    }
  }
}

// Vertical settling: from the frontier inwards, every hole takes the mean of its column within a reach that grows by
// one pixel a pass.
void HoleFiller::settle() {
  const std::size_t bytes = kalvetra::byteCount(rowBytes_, height_);
  const auto next = std::make_unique<unsigned char[]>(bytes);
  const std::int64_t passes = std::int64_t{width_} * height_;
  bool grown = true;
  for (std::int64_t n = 1; grown && n <= passes; ++n) {
    std::memcpy(next.get(), image_, bytes);
    std::vector<unsigned char> nextState = state_;
    grown = settlePass(static_cast<int>(std::min<std::int64_t>(n, height_)), next.get(), nextState);
    std::memcpy(image_, next.get(), bytes);
    state_ = std::move(nextState);
  }
}

// Settles every frontier pixel into `next`; true when that made a neighbour a frontier pixel.
bool HoleFiller::settlePass(int reach, unsigned char* next, std::vector<unsigned char>& nextState) const {
  bool grown = false;
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      if (state_[cell(x, y)] != kFrontier) continue;
      settlePixel(x, y, reach, next + offset(x, y));
      nextState[cell(x, y)] = kSurviving;
      forEachNeighbour(x, y, width_, height_, [&](int nx, int ny) {
        if (state_[cell(nx, ny)] != kHole) return;
        nextState[cell(nx, ny)] = kFrontier;
        grown = true;
      });
    }
  }
  return grown;
}

// The rounded mean of the pixels of the column that are not black, without the pixel itself; its colour stays where
// there is none.
void HoleFiller::settlePixel(int x, int y, int reach, unsigned char* result) const {
  int sums[3] = {0, 0, 0}, count = 0;
  for (int row = std::max(y - reach, 0); row <= std::min(y + reach, height_ - 1); ++row) {
    const unsigned char* pixel = at(x, row);
    if (row == y || isBlack(pixel)) continue;
    for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
    ++count;
  }
  if (count == 0) return;
  for (int c = 0; c < 3; ++c) {
    result[c] = kalvetra::truncToByte((static_cast<float>(sums[c]) + 0.5f) / static_cast<float>(count));
  }
}

}  // namespace

unsigned int CKALVETRA::ContractBack32bit(unsigned char* image, int width, int height, int rowBytes, int count) {
  if (image == nullptr) return 0;
  const std::size_t bytes = kalvetra::byteCount(rowBytes, height);
  if (bytes == 0 || width < 1) return 1;
  if (kalvetra::simd::enabled()) {
    kalvetra::simd::contractPlate(image, width, height, rowBytes, count);
    return 1;
  }
  const auto scratch = std::make_unique<unsigned char[]>(bytes);
  std::memcpy(scratch.get(), image, bytes);
  const auto offset = [rowBytes](int x, int y) { return std::ptrdiff_t{y} * rowBytes + std::ptrdiff_t{4} * x; };
  for (int pass = 0; pass < count; ++pass) {
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        if (image[offset(x, y) + 2] != 0) continue;
        forEachNeighbour(x, y, width, height, [&](int nx, int ny) {
          std::fill_n(scratch.get() + offset(nx, ny), 3, static_cast<unsigned char>(0));
        });
      }
    }
    if (std::memcmp(image, scratch.get(), bytes) == 0) break;  // nor will any further pass change it
    std::memcpy(image, scratch.get(), bytes);
  }
  return 1;
}

unsigned int CKALVETRA::ExpandBack32bit8(unsigned char* image, int width, int height, int rowBytes, unsigned char keyR,
                                         unsigned char keyG, unsigned char keyB) {
  if (image == nullptr) return 0;
  if (width < 1 || height < 1) return 1;
  if (kalvetra::simd::enabled()) {
    kalvetra::simd::fillHoles(image, width, height, rowBytes, {keyB, keyG, keyR});
    return 1;
  }
  HoleFiller(image, width, height, rowBytes).fill({{keyB, keyG, keyR}});
  return 1;
}
