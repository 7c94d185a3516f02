// Means over stretches of columns, for the filling of holes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kalvetra::simd {

// An image with its columns one after the other. Pixels are blue, green, red and 1, or all zeros where black; behind
// the last column there is room for a whole vector.
struct Columns {
  int height;
  std::vector<std::uint32_t> pixels;
};

struct Cell {
  std::int32_t x;
  std::int32_t y;
};

// For each cell the rounded mean of its column's pixels that are not black, from `reach` rows above it to `reach`
// below, the cell's own left out; its own pixel where there is none.
void columnMeans(const Columns& columns, const Cell* cells, std::size_t count, int reach, std::uint32_t* means);

}  // namespace kalvetra::simd
