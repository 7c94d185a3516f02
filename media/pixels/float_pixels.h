// Bare pictures of four floats a pixel, in the machine's byte order: red, green, blue, alpha, as code values, 0 black
// and 1 white. FFmpeg's libraries know such a format from version 6.1 on; to them these are pictures of RGBA with 16
// bits and of twice the width, which have the same bytes.
#pragma once

#include "media/ffmpeg.h"
#include "media/pixels/deep_rows.h"

namespace kalvetra {

inline constexpr const char* kFloatPixels = "rgbaf32";
inline constexpr AVPixelFormat kFloatPixelsStored = AV_PIX_FMT_RGBA64;

// A deep picture as such a frame.
FramePtr floatPixels(DeepRows rows);

// Such a frame as one of floats in planes of its own size; its time and all else are those of `pixels`.
FramePtr planarFloats(const AVFrame& pixels);

}  // namespace kalvetra
