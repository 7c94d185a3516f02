// Vector forms of the keying passes. Only where simd::enabled(); every one writes the very bytes of its plain form.
#pragma once

#include <array>
#include <cstddef>

#include "engine/exposure_curve.h"
#include "engine/key_geometry.h"

namespace kalvetra::simd {

// `pixels` consecutive pixels of packed images in working order. `result` may be `source`.
void keyAgainstColor(const ColorKeyGeometry& geometry, const unsigned char* source, unsigned char* result,
                     std::size_t pixels);
void keyAgainstPlate(const PlateKeyGeometry& geometry, const unsigned char* source, const unsigned char* plate,
                     unsigned char* result, std::size_t pixels);

// Background extraction of a row: blacks pixels out, and marks them in `rejected`.
void extract(const ExtractionGeometry& geometry, unsigned char* pixels, unsigned char* rejected, std::size_t count);

// ExposureCurve::code at every exposure, ExposureCurve::kSteps codes.
void exposureCodes(const ExposureCurve& curve, double light, unsigned char* codes);

// --- Rows of the render entry (pixel_rows.cpp) ----------------------------------------------------------------------

// Host order into working order, or back. `to` may be `from`.
void reverseBytes(const unsigned char* from, unsigned char* to, std::size_t pixels);

// What is left to do with a keyed row: the matte is limited by the host's alpha and clipped, and the view written in
// host order. Where the host's alpha is 0, its colour comes back.
struct MatteFinish {
  bool matteView;  // otherwise the keyed result
  bool clips;
  std::array<unsigned char, 256> clipped;  // the clipped level of each
};
// From a row in working order, which may be `output`.
void finishRow(const MatteFinish& finish, const unsigned char* host, const unsigned char* keyed, unsigned char* output,
               std::size_t pixels);
// Where `output` already holds the colours in host order, and `matte` the matte alone.
void finishMatte(const MatteFinish& finish, const unsigned char* host, const unsigned char* matte,
                 unsigned char* output, std::size_t pixels);

// The plate repair of CKALVETRA, on images of at least one pixel.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count);
void fillHoles(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, const unsigned char (&keyBGR)[3]);

}  // namespace kalvetra::simd
