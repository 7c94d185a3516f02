// The colours that no one sees: those under alpha 0.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// A copy of straight pictures for lossy codecs and for editors that scale before they composite: where alpha is 0 the
// colours around go on outwards and fade, within about 32 pixels, to black. All pixels with alpha, and alpha itself,
// stay as they are. Of a deep picture, the colours put there have 8 bits. The bytes are the same on every machine.
Image withHiddenColorsExtended(const Image& image);

}  // namespace kalvetra
