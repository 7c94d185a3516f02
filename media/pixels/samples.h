// The stored samples of a frame, whatever their layout.
#pragma once

#include <cstdint>

#include "media/ffmpeg.h"

namespace kalvetra {

// True for RGB whose samples are read one by one. Where several share a byte, FFmpeg's description and its scaler do
// not agree on which bits are which; the scaler is what other programs go by.
bool isReadExactly(const AVPixFmtDescriptor& format);

// Reads the first `count` samples of a component in row y of its plane: planar, packed or half-planar, of either byte
// order, up to 16 bits. Bits beyond the component's depth are dropped.
void readSamples(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y, int count,
                 std::uint16_t* out);

}  // namespace kalvetra
