// Frames as noisy as a camera's, of any size, for timing.
#pragma once

#include <string>
#include <vector>

#include "bench/passes.h"

namespace kalvetra::bench {

using Bytes = std::vector<unsigned char>;

inline constexpr int kCameraNoise = 2;  // levels

// Frame 30 + index of the demonstration clip in host order, resampled to `size`, with fresh noise of up to so many
// levels: resampling has smoothed the clip's own. `index` 0..59.
Bytes cameraFrame(Size size, int index, int noise = kCameraNoise);

// An image in host order as one of floats, 16 bytes a pixel.
Bytes floatFrame(const Bytes& image);

// The same image with the bytes of every pixel in reverse order: host order to working order and back.
Bytes reversedPixels(Bytes image);

// Writes `count` such frames one after the other, raw. Throws std::runtime_error when the file cannot be written.
void dumpFrames(Size size, int count, const std::string& path);

}  // namespace kalvetra::bench
