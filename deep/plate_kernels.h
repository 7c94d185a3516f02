// What resampling and repairing pictures in floats spends its time on. A plane is a row of one channel; "pixels" are
// four floats each: red, green, blue and one that is carried along.
#pragma once

#include <cstddef>
#include <vector>

#include "deep/rows.h"
#include "engine/simd/column_sums.h"
#include "imaging/resample_taps.h"

namespace kalvetra::deep {

// sums += weight * plane, for whole vectors of RowBuffer::room(width) floats.
void accumulate(const float* plane, float weight, float* sums, int width);

// result = weights[0] * rows[0] + weights[1] * rows[1] ..., added in that order, for whole vectors of `floats` floats,
// a multiple of RowBuffer::kWholeVectors. Nothing need be aligned.
void weightedSum(const float* const* rows, const float* weights, std::size_t count, float* result, std::size_t floats);

// Planes to pixels and back, RowBuffer::room(width) of them. The fourth float becomes 0, and goes nowhere.
void interleave(ConstRow planes, float* pixels, int width);
void separate(const float* pixels, Row planes, int width);

// A pixel for each window: the sum of those that it draws on, each with its weight, in their order.
void resampleAlong(const float* pixels, const Weights& table, float* result);

// For each cell the mean of the pixels in its column from `reach` above it to `reach` below, its own left out; its own
// pixel where there are no others. Less what truncating the mean of so many whole levels takes on the mean, which never
// leads below the least of them. The columns, of `height` pixels, lie one after the other.
void columnMeans(const float* columns, int height, const std::vector<simd::Cell>& cells, int reach, float* means);

}  // namespace kalvetra::deep
