// From settings to the pipeline's record, and from the host's order of bytes to its own.
#pragma once

#include <cstddef>

#include "engine/KALVETRA_Param.h"
#include "engine/key_settings.h"
#include "imaging/numeric.h"

namespace kalvetra {

inline int roundedToInt(double x) { return truncToInt(x + 0.5); }

// A key colour of black, the parameter's default, means that none was picked.
bool keysSomething(const KeySettings& settings);

// Keyed with blue and green in each other's place.
inline bool keysBlue(const KeySettings& settings) { return settings.screen == 1; }

// That of a blue screen has its key colour's blue and green in each other's place. The record holds on to the images,
// which it does not touch.
KALVETRA_Param makeRecord(const KeySettings& settings, unsigned char* source, unsigned char* result, int width,
                          int height);

// Host order alpha, red, green, blue <-> working order blue, green, red, alpha.
void reverseBytes(const unsigned char* from, unsigned char* to, std::size_t pixels);

}  // namespace kalvetra
