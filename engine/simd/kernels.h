// Vector forms of the keying passes. Only where simd::enabled(); every one writes the very bytes of its plain form.
#pragma once

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

// The plate repair of CKALVETRA, on images of at least one pixel.
void contractPlate(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, int count);
void fillHoles(unsigned char* image, int width, int height, std::ptrdiff_t rowBytes, const unsigned char (&keyBGR)[3]);

}  // namespace kalvetra::simd
