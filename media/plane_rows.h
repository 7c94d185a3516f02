// The rows of a frame's planes.
#pragma once

#include <cstddef>

#include "media/ffmpeg.h"

namespace kalvetra {

template <class Sample>
Sample* planeRow(AVFrame& frame, int plane, int y) {
  return reinterpret_cast<Sample*>(frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane]);
}

}  // namespace kalvetra
