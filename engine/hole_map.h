// Which pixels of a small plate are holes, and the order in which they are filled: for repairs that keep the colours
// elsewhere.
#pragma once

#include <cstddef>
#include <vector>

#include "engine/simd/column_sums.h"

namespace kalvetra {

// One byte a pixel, with a frame of one pixel round the picture, so that no neighbour needs a test.
class HoleMap {
 public:
  HoleMap(int width, int height, unsigned char frame)
      : stride_(static_cast<std::size_t>(width) + 2), bytes_(stride_ * (static_cast<std::size_t>(height) + 2), frame) {}
  unsigned char* row(int y) { return bytes_.data() + static_cast<std::size_t>(y + 1) * stride_ + 1; }
  bool operator==(const HoleMap&) const = default;

 private:
  std::size_t stride_;
  std::vector<unsigned char> bytes_;
};

// `holes` has 1 in each hole, 0 elsewhere and in its frame. The result has 1 in what gets a hole next to it in any of
// `passes` passes, each of which makes holes of what is next to one; a hole of the beginning is there only if it has
// another one next to it.
HoleMap nextToHoles(const HoleMap& holes, int width, int height, int passes);

// Goes through the holes of a picture from their borders inwards.
class HoleStates {
 public:
  enum State : unsigned char { kSettled = 0, kHole = 1, kFrontier = 2, kOutside = 4 };

  // `surviving` has 1 in each pixel that is no hole, 0 elsewhere and in its frame.
  HoleStates(HoleMap& surviving, int width, int height);

  const std::vector<simd::Cell>& holes() const { return holes_; }  // in raster order
  // Those that are next to what has a colour. After each use of them, `advance` makes their neighbours the frontier.
  const std::vector<simd::Cell>& frontier() const { return frontier_; }
  void advance();

  // Calls fill(y, first, end) for every run of holes in a row, before the first `advance`.
  template <class Fill>
  void forEachRun(const Fill& fill) {
    for (int y = 0; y < height_; ++y) {
      const unsigned char* state = state_.row(y);
      for (int x = 0; x < width_; ++x) {
        if (state[x] == kSettled) continue;
        const int first = x;
        while (x < width_ && state[x] != kSettled) ++x;
        fill(y, first, x);
      }
    }
  }

 private:
  void visitNeighbours(simd::Cell cell);

  int width_, height_;
  HoleMap state_;
  std::vector<simd::Cell> holes_, frontier_, next_;
};

}  // namespace kalvetra
