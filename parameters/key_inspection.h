// Why a pixel is keyed as it is.
#pragma once

#include "engine/inspection.h"
#include "parameters/key_settings.h"

namespace kalvetra {

// How the pixel at x, y, inside the frame, is keyed; with `fields` as renderFields does it. See engine/inspection.h;
// otherwise like renderFrame.
Treatment treatmentAt(const KeySettings& settings, const unsigned char* input, int width, int height, bool fields,
                      int x, int y);

// The lines that the settings draw in the chroma plane.
KeyLines keyLines(const KeySettings& settings);

}  // namespace kalvetra
