// Vector forms on single rows, which the passes are put together from. Only where simd::enabled(). Rows may not overlap
// unless a comment allows it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "imaging/simd/byte_order.h"

namespace kalvetra::simd {

// --- Box sums (box_kernels.cpp) -------------------------------------------------------------------------------------

// columns[i] += entering[i] - leaving[i]; either row may be null.
void slideColumns(std::uint32_t* columns, const unsigned char* entering, const unsigned char* leaving,
                  std::size_t values);

// Running sums of each of 1, 2 or 4 interleaved channels, modulo 2^32.
void sumRow(const std::uint32_t* columns, std::uint32_t* sums, std::size_t values, std::size_t channels);

// How a window sum s becomes a byte: trunc((s + before) * weights * gain + after), clamped.
struct BoxScale {
  float before;
  float gain;
  float after;
};

// result[i] from s = after[i] - before[i], weighted by columnWeights[i] and then by rowWeight.
void averageBoxes(const std::uint32_t* before, const std::uint32_t* after, const float* columnWeights, float rowWeight,
                  const BoxScale& scale, unsigned char* result, std::size_t values);

// --- Mattes (matte_kernels.cpp) -------------------------------------------------------------------------------------

// The alpha of packed pixels, out and, in working order, in.
void takeMatte(const unsigned char* pixels, ByteOrder order, unsigned char* matte, std::size_t count);
void putMatte(const unsigned char* matte, unsigned char* pixels, std::size_t count);

void invert(const unsigned char* matte, unsigned char* inverse, std::size_t count);

// One contraction step of the inner pixels of a row, 1..width-2; slack 0..255. True when that changed one.
bool contractRow(const unsigned char* above, const unsigned char* row, const unsigned char* below,
                 unsigned char* result, std::size_t width, int slack, bool square);

// The matte eroded by its blurred inverse `edge`, as CImagingZEP::MaskBlur does it; offset 0 or more. `result` may be
// `matte`.
void erode(const unsigned char* matte, const unsigned char* edge, unsigned char* result, std::size_t count,
           float amount, float offset);

// --- Chroma (chroma_kernels.cpp) ------------------------------------------------------------------------------------

// Luma and pairs of Cb, Cr of `count` pixels, and back into pixels, which keep their alpha.
void splitChroma(const unsigned char* pixels, ByteOrder order, unsigned char* luma, unsigned char* chroma,
                 std::size_t count);
void joinChroma(const unsigned char* luma, const unsigned char* chroma, ByteOrder order, unsigned char* pixels,
                std::size_t count);

// --- Edges (edge_kernels.cpp) ---------------------------------------------------------------------------------------

// The edge map of the inner pixels of a row, 1..width-2.
void markEdges(const unsigned char* above, const unsigned char* row, const unsigned char* below, unsigned char* result,
               std::size_t width, int threshold);

}  // namespace kalvetra::simd
