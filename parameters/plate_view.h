// The backdrop that a frame is keyed against, as a picture.
#pragma once

#include "parameters/key_settings.h"

namespace kalvetra {

// Writes the frame's estimated backdrop, exactly the plate that the keyer makes of it, to `output`; both are packed, of
// width x height pixels in host order; the result is opaque. Where nothing is estimated (smooth-bg off, or a key colour
// of black) it writes the uniform key colour and answers false. Throws std::bad_alloc when memory runs out.
bool renderPlate(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width, int height);

}  // namespace kalvetra
