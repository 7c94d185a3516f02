// Rows of any 8-bit frame to straight Argb8 and back.
#pragma once

#include <cstddef>

#include "engine/frame.h"

namespace kalvetra {

// Row y of the frame as straight Argb8, frame.width pixels. Where alpha is 0, a premultiplied frame's colour is black.
void readRow(const ConstFrame& frame, int y, unsigned char* argb);

// Row y of the frame from straight Argb8, which may be the row itself.
void writeRow(const Frame& frame, int y, const unsigned char* argb);

// Colours of Argb8, in place: c becomes floor(c * alpha / 255).
void premultiply(unsigned char* argb, std::size_t pixels);

// The other way: c becomes c * 255 / alpha, rounded, at most 255; 0 where alpha is 0.
void unpremultiply(unsigned char* argb, std::size_t pixels);

}  // namespace kalvetra
