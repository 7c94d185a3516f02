// What FFmpeg's decoder passes over in silence: OpenEXR files that end too early, whose missing lines it leaves black.
#pragma once

#include <cstdint>
#include <span>

namespace kalvetra {

// True where the file ends before its last line or tile does, or its table lacks one, as a writer leaves it that was
// interrupted. By the layout of OpenEXR's documentation; any bytes. False for files of several parts, which have
// another one, and for what is no OpenEXR file.
bool isCutOffExr(std::span<const std::uint8_t> file);

}  // namespace kalvetra
