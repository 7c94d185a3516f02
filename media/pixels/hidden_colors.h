// The colours that no one sees: those under alpha 0.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// A copy of straight pictures for lossy codecs and for editors that scale before they composite: where alpha is 0 the
// colours around go on outwards and fade, within about 32 pixels, to black. All pixels with alpha, and alpha itself,
// stay as they are. Of a deep picture, the colours put there have 8 bits. The bytes are the same on every machine.
Image withHiddenColorsExtended(const Image& image);

// The same row by row, without a copy of a deep picture: the colours, in a picture of 8 bits, for what is never seen
// needs no more; and a row of floats that gets them where its alpha is 0.
Image hiddenColorsOf(const Image& deep);
void putHiddenColors(const unsigned char* colors, float* row, int width);

}  // namespace kalvetra
