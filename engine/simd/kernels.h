// Vector forms of the keying passes. Only where simd::enabled(); every one writes the very bytes of its plain form.
#pragma once

#include <cstddef>

#include "engine/key_geometry.h"

namespace kalvetra::simd {

// `pixels` consecutive pixels of packed images in working order. `result` may be `source`.
void keyAgainstColor(const ColorKeyGeometry& geometry, const unsigned char* source, unsigned char* result,
                     std::size_t pixels);
void keyAgainstPlate(const PlateKeyGeometry& geometry, const unsigned char* source, const unsigned char* plate,
                     unsigned char* result, std::size_t pixels);

}  // namespace kalvetra::simd
