// Alpha of 16 bits in ProRes 4444. FFmpeg's encoders take alpha of 10 bits and widen it to the 16 that the frames hold;
// alpha is coded without loss and apart from the colours, so that it can be put into an encoded frame afterwards.
#pragma once

#include <cstdint>

#include "media/ffmpeg.h"

namespace kalvetra {

// Puts `alpha`, 16 bits a pixel in rows without gaps, in the place of what an encoded frame holds (SMPTE RDD 36).
// False, and the packet stays, where that is no frame of this size with alpha of 16 bits, or where a slice gets too
// long.
bool replaceProresAlpha(AVPacket& packet, const std::uint16_t* alpha, int width, int height);

}  // namespace kalvetra
