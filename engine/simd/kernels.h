// Vector forms of the keying passes. Only where simd::enabled(); every one writes the very bytes of its plain form.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/chroma_plane.h"
#include "engine/exposure_curve.h"
#include "engine/key_geometry.h"
#include "imaging/simd/byte_order.h"

namespace kalvetra::simd {

// The plate's row that was keyed against last, and what the key's quick look reads of it: luminance, offset as the key
// wants it, and chroma. A row mostly repeats the one above it. For rows of `pixels` pixels, all in one byte order.
struct PlateColors {
  explicit PlateColors(std::size_t pixels) : room((pixels + 63) / 64 * 64), row(room), y(room), I(room), Q(room) {}

  std::size_t room;  // whole vectors
  std::vector<std::uint32_t> row;
  std::vector<float> y, I, Q;
  bool filled = false;
};

// Some rows of an image and of the plate, all in the same byte order, and where their keys go: which may be the source.
// Rows are keyed several at a time so that the pixels that need more work come in numbers.
struct KeyRows {
  static constexpr int kMost = 8;

  std::size_t pixels;  // of a row, at most 65536
  int count;
  std::array<const unsigned char*, kMost> source, plate;  // plate: only where it is keyed against
  std::array<unsigned char*, kMost> result;
};
// Calls key(rows) for all rows of a record's images in turn; `plate`, packed, may be null.
template <class Key>
void forEachBlock(const KALVETRA_Param& param, const unsigned char* plate, Key key) {
  const std::size_t rowBytes = std::size_t{4} * param.nWidth;
  for (int y = 0; y < param.nHeight; y += KeyRows::kMost) {
    KeyRows rows{};
    rows.pixels = param.nWidth;
    rows.count = std::min(KeyRows::kMost, param.nHeight - y);
    for (std::size_t i = 0; i < static_cast<std::size_t>(rows.count); ++i) {
      const std::size_t at = (static_cast<std::size_t>(y) + i) * rowBytes;
      rows.source[i] = param.pSrc + at;
      rows.plate[i] = plate == nullptr ? nullptr : plate + at;
      rows.result[i] = param.pDst + at;
    }
    key(rows);
  }
}

void keyAgainstColor(const ColorKeyGeometry& geometry, ByteOrder order, const KeyRows& rows);
void keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const KeyRows& rows, PlateColors& known);

// Background extraction of a row: blacks pixels out, and marks them in `rejected`.
void extract(const ExtractionGeometry& geometry, unsigned char* pixels, unsigned char* rejected, std::size_t count);

// ExposureCurve::code at every exposure, ExposureCurve::kSteps codes.
void exposureCodes(const ExposureCurve& curve, double light, unsigned char* codes);

// unmixLuminance of `count` pixels, a multiple of 16, as the keying passes do it: y within 0..255, backdropY within
// 0..256.6. Returns how many the plain form had to decide. For tests; `widening` multiplies the error bound.
std::size_t unmixLuminances(const float* y, const float* backdropY, const float* amount, Unmixed* result,
                            std::size_t count, double widening);

// --- Rows of the render entry (pixel_rows.cpp) ----------------------------------------------------------------------

// Brings pixels from one order into another, in place.
void reorder(unsigned char* pixels, std::size_t count, ByteOrder from, ByteOrder to);

// What is left to do with a keyed row: the matte is limited by the host's alpha and clipped, and the view written.
// Where the host's alpha is 0, its colour comes back.
struct MatteFinish {
  bool matteView;  // otherwise the keyed result
  bool clips;
  std::array<unsigned char, 256> clipped;  // the clipped level of each
};
// `keyed`, in the host's byte order, becomes the finished row.
void finishRow(const MatteFinish& finish, ByteOrder order, const unsigned char* host, unsigned char* keyed,
               std::size_t pixels);
// The same with the matte apart: that of `keyed` does not count.
void finishRow(const MatteFinish& finish, ByteOrder order, const unsigned char* host, const unsigned char* matte,
               unsigned char* keyed, std::size_t pixels);

// KeptShadows, which says what it does. At any level.
struct ShadowMix {
  bool matteView;
  float noise;  // levels, above 0
  ShadowCurve curve;
  std::array<int, 4> bits;  // where what is keyed as red, green and blue, and alpha stand in a pixel read as a number
};
void keepShadows(const ShadowMix& mix, const unsigned char* source, const unsigned char* plate, unsigned char* finished,
                 std::size_t pixels);

// The plate repair of CKALVETRA, on images of at least one pixel.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count);
void fillHoles(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, const unsigned char (&keyBGR)[3]);

}  // namespace kalvetra::simd
