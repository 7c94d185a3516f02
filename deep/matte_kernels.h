// Rows of the stages that look at neighbours: box averages, the chroma blur, contraction and edge blur. All for whole
// vectors: `count` is a multiple of RowBuffer::kWholeVectors, and rows are aligned as those of a RowBuffer unless it is
// said otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

#include "deep/rows.h"

namespace kalvetra::deep {

// Levels as whole numbers.
struct FixedPoint {
  float largest;  // in magnitude; what lies beyond counts as that
  float scale;    // whole numbers a level
};

// sums += entering - leaving, each of which may be null. Only the rows need be aligned.
void slideColumns(const FixedPoint& fixed, const float* entering, const float* leaving, std::int32_t* sums,
                  std::size_t count);

// The rounded sums * weight. Nothing need be aligned.
void meansOf(const std::int32_t* sums, float weight, std::int32_t* means, std::size_t count);

// (last - first) * weights, modulo 2^32 before it is multiplied. Only the result need be aligned.
void windowMeans(const std::int32_t* first, const std::int32_t* last, const float* weights, float* result,
                 std::size_t count);

// A row in place: red, green and blue become luma and the two colour differences.
void splitChroma(Row row, int width);

// Such a row back to colours, its differences being those given. `alpha` is copied.
void joinChroma(ConstRow row, const float* blueDifference, const float* redDifference, Row result, int width);

// result = 255 - row.
void invert(const float* row, float* result, std::size_t count);

// A step of contraction: each pixel at most the least of its neighbours plus the slack. The first and the last column
// stay. True where that changed something. A vector before and after each row may be read.
bool contractRow(const float* above, const float* row, const float* below, float* result, std::size_t width,
                 float slack, bool square);

// How the edge blur takes away from a matte.
struct Erosion {
  float amount;  // 0..1
  float offset;  // levels that are left standing
};
// `edge` has the averages of the inverted matte. In place: the matte.
void erode(const Erosion& erosion, const float* edge, float* matte, std::size_t count);

}  // namespace kalvetra::deep
