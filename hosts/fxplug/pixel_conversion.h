// Between a host's pixel formats and the engine's host order.
//
// 8 bits: 4 bytes a pixel, alpha, red, green, blue. Float: 4 single-precision values a pixel, red, green, blue, alpha,
// nominally 0..1. Buffers are packed, hold `pixels` pixels and belong to the caller.
#pragma once

#include <cstddef>

namespace kalvetra {

// Each component as the integer part of f * 255, clamped to 0..255: 0.999 gives 254. Not a number gives 0.
void floatsToBytes(const float* rgba, unsigned char* argb, std::size_t pixels);

// Each component as byte / 255; red, green and blue times alpha where `premultiplied`.
void bytesToFloats(const unsigned char* argb, float* rgba, std::size_t pixels, bool premultiplied);

}  // namespace kalvetra
