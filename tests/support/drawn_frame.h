// Frames of any layout, drawn by FFmpeg's own writer of samples.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "media/ffmpeg.h"

namespace kalvetra::test {

inline int columnsOf(const AVFrame& frame, const AVPixFmtDescriptor& d, int component) {
  return component == 1 || component == 2 ? AV_CEIL_RSHIFT(frame.width, d.log2_chroma_w) : frame.width;
}

inline int rowsOf(const AVFrame& frame, const AVPixFmtDescriptor& d, int component) {
  return component == 1 || component == 2 ? AV_CEIL_RSHIFT(frame.height, d.log2_chroma_h) : frame.height;
}

// Writes value(component, x, y) everywhere, in whatever layout the format has.
template <class Value>
FramePtr drawn(AVPixelFormat format, int width, int height, AVChromaLocation location, Value value) {
  FramePtr frame = makePicture(format, width, height);
  frame->chroma_location = location;
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
  std::vector<std::uint16_t> line;
  // The writer ORs packed samples of more than 8 bits into the picture.
  for (const AVBufferRef* buffer : frame->buf) {
    if (buffer != nullptr) std::fill_n(buffer->data, buffer->size, std::uint8_t{0});
  }
  for (int component = 0; component < d.nb_components; ++component) {
    line.resize(static_cast<std::size_t>(columnsOf(*frame, d, component)));
    for (int y = 0; y < rowsOf(*frame, d, component); ++y) {
      for (std::size_t x = 0; x < line.size(); ++x)
        line[x] = static_cast<std::uint16_t>(value(component, static_cast<int>(x), y));
      av_write_image_line2(line.data(), frame->data, frame->linesize, &d, 0, y, component,
                           static_cast<int>(line.size()), 2);
    }
  }
  return frame;
}

}  // namespace kalvetra::test
