// Frame rates as a user writes them.
#pragma once

#include <optional>
#include <string>

#include "media/ffmpeg.h"

namespace kalvetra {

inline constexpr double kSmallestFrameRate = 0.001, kLargestFrameRate = 1000;  // pictures a second
inline constexpr const char* kFrameRateRange = "from 0.001 to 1000";

// Reads a whole number, a decimal or a fraction of two whole numbers: 24, 23.976, 30000/1001.
// Nothing for any other text, and for rates outside kSmallestFrameRate..kLargestFrameRate.
std::optional<AVRational> parseFrameRate(const std::string& text);

}  // namespace kalvetra
