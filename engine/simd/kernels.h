// Vector forms of the keying passes. Only where simd::enabled(); every one writes the very bytes of its plain form.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

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

// `pixels` consecutive pixels of packed images, all in the same byte order. `result` may be `source`.
void keyAgainstColor(const ColorKeyGeometry& geometry, ByteOrder order, const unsigned char* source,
                     unsigned char* result, std::size_t pixels);
void keyAgainstPlate(const PlateKeyGeometry& geometry, ByteOrder order, const unsigned char* source,
                     const unsigned char* plate, PlateColors& known, unsigned char* result, std::size_t pixels);

// Background extraction of a row: blacks pixels out, and marks them in `rejected`.
void extract(const ExtractionGeometry& geometry, unsigned char* pixels, unsigned char* rejected, std::size_t count);

// ExposureCurve::code at every exposure, ExposureCurve::kSteps codes.
void exposureCodes(const ExposureCurve& curve, double light, unsigned char* codes);

// --- Rows of the render entry (pixel_rows.cpp) ----------------------------------------------------------------------

// Working order into host order in place, or back.
void reverseBytes(unsigned char* pixels, std::size_t count);

// What is left to do with a keyed row in host order: the matte is limited by the host's alpha and clipped, and the view
// written. Where the host's alpha is 0, its colour comes back.
struct MatteFinish {
  bool matteView;  // otherwise the keyed result
  bool clips;
  std::array<unsigned char, 256> clipped;  // the clipped level of each
};
// `keyed` becomes the finished row.
void finishRow(const MatteFinish& finish, const unsigned char* host, unsigned char* keyed, std::size_t pixels);
// The same with the matte apart: that of `keyed` does not count.
void finishRow(const MatteFinish& finish, const unsigned char* host, const unsigned char* matte, unsigned char* keyed,
               std::size_t pixels);

// The plate repair of CKALVETRA, on images of at least one pixel.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count);
void fillHoles(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, const unsigned char (&keyBGR)[3]);

}  // namespace kalvetra::simd
