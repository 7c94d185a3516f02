// The two steps of the resampler on single rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "imaging/simd/resampled_rows.h"

namespace kalvetra::simd {

inline constexpr int kRowsAtOnce = 4;

// CImagingZEP::DF_weight of every distance (kernel_weights.cpp).
void kernelWeights(const double* distances, float* weights, std::size_t count, int filter, int lobes);

// Reorders pixels for the paired kernel, and lays taps out likewise: taps[i] is pixel i's. `ordered` has room for a
// whole group; what follows the last pixel there is undefined.
void orderPairs(const unsigned char* row, unsigned char* ordered, std::size_t pixels);
void orderTaps(const std::int16_t (&taps)[RowPlan::kPixels], std::int16_t (&ordered)[4 * RowPlan::kPixels]);

// Horizontal step of kRowsAtOnce ordered rows, rounded down.
void resamplePairedRows(const RowPlan& plan, const unsigned char* const (&rows)[kRowsAtOnce],
                        std::int16_t* const (&results)[kRowsAtOnce]);

// Horizontal step of a row as it is.
void resampleRow(const RowPlan& plan, const unsigned char* row, std::int16_t* result);

// Vertical step: `count` rows of `values` values with their taps, rounded to nearest and clamped.
void resampleColumns(const std::int16_t* const* rows, const int* taps, std::size_t count, unsigned char* result,
                     std::size_t values);

}  // namespace kalvetra::simd
