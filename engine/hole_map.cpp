#include "engine/hole_map.h"

namespace kalvetra {

namespace {

// Whether any of the 8 neighbours is set, for maps of 0 and 1.
void anyNeighbour(HoleMap& map, int y, int width, unsigned char* result) {
  const unsigned char *above = map.row(y - 1), *row = map.row(y), *below = map.row(y + 1);
  for (int x = 0; x < width; ++x) {
    result[x] = static_cast<unsigned char>(above[x - 1] | above[x] | above[x + 1] | row[x - 1] | row[x + 1] |
                                           below[x - 1] | below[x] | below[x + 1]);
  }
}

}  // namespace

HoleMap nextToHoles(const HoleMap& first, int width, int height, int passes) {
  HoleMap holes = first, grown = first, marked(width, height, 0);
  std::vector<unsigned char> near(static_cast<std::size_t>(width));
  for (int pass = 0; pass < passes; ++pass) {
    for (int y = 0; y < height; ++y) {
      anyNeighbour(holes, y, width, near.data());
      unsigned char *mark = marked.row(y), *hole = grown.row(y);
      for (int x = 0; x < width; ++x) {
        mark[x] = static_cast<unsigned char>(mark[x] | near[static_cast<std::size_t>(x)]);
        hole[x] = static_cast<unsigned char>(hole[x] | mark[x]);
      }
    }
    if (grown == holes) break;  // nor will any further pass change them
    holes = grown;
  }
  return marked;
}

HoleStates::HoleStates(HoleMap& surviving, int width, int height)
    : width_(width), height_(height), state_(width, height, kOutside) {
  std::vector<unsigned char> near(static_cast<std::size_t>(width));
  for (int y = 0; y < height; ++y) {
    const unsigned char* row = surviving.row(y);
    unsigned char* state = state_.row(y);
    anyNeighbour(surviving, y, width, near.data());
    for (int x = 0; x < width; ++x) {
      const int hole = 1 - row[x];
      state[x] = static_cast<unsigned char>(hole + hole * near[static_cast<std::size_t>(x)]);
    }
    for (int x = 0; x < width; ++x) {
      if (state[x] == kSettled) continue;
      holes_.push_back({x, y});
      if (state[x] == kFrontier) frontier_.push_back({x, y});
    }
  }
}

void HoleStates::advance() {
  next_.clear();
  for (const simd::Cell cell : frontier_) visitNeighbours(cell);
  frontier_.swap(next_);
}

// The neighbours that are holes become the next frontier. Most rows of them hold none.
void HoleStates::visitNeighbours(simd::Cell cell) {
  static_assert((kHole & 1) != 0 && ((kSettled | kFrontier | kOutside) & 1) == 0);
  for (int y = cell.y - 1; y <= cell.y + 1; ++y) {
    unsigned char* row = state_.row(y) + cell.x - 1;
    if (((row[0] | row[1] | row[2]) & 1) == 0) continue;
    for (int i = 0; i < 3; ++i) {
      if (row[i] != kHole) continue;
      row[i] = kFrontier;
      next_.push_back({cell.x - 1 + i, y});
    }
  }
}

}  // namespace kalvetra
