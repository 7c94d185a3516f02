// Frame rates as a user writes them.
#pragma once

#include <optional>
#include <string>

#include "media/ffmpeg.h"

namespace kalvetra {

constexpr int kLargestFrameRate = 1000;  // pictures a second

// Reads a whole number, a decimal of at most four places or a fraction of two whole numbers: 24, 23.976, 30000/1001.
// Nothing for any other text, and for rates that are not above 0 and up to kLargestFrameRate.
std::optional<AVRational> parseFrameRate(const std::string& text);

}  // namespace kalvetra
