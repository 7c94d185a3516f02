// The usual YUV pictures into host order, without a scaler.
#pragma once

#include <vector>

#include "media/picture.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own.
//
// Chroma lies where the frame says it does, left of the first of two columns and between two rows where it says
// nothing. Between chroma samples colours go in a straight line; the border is repeated. Each component is within 0.53
// levels of the exact value, and the same on every machine.
class YuvConverter {
 public:
  // True for planar YUV of 8 to 10 bits in the machine's byte order, whose chroma is halved at most.
  static bool handles(const AVPixFmtDescriptor& format);

  // Colours of an opaque picture of the frame's size; alpha that the frame may have is not read. The frame's format
  // must be one that this class handles, and lumaWeights must know the matrix.
  void convert(const AVFrame& frame, const ColorTags& color, Image& image);

 private:
  template <class Sample>
  void convertRows(const AVFrame& frame, const AVPixFmtDescriptor& format, const ColorTags& color, Image& image);
  template <class Sample>
  void readChroma(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                  std::vector<std::int16_t>& out);

  std::vector<std::int16_t> y_, u_, v_;  // one row, 16 times the samples
  std::vector<std::int16_t> blended_;    // one row of chroma between rows: 4 times the samples, a border each side
};

}  // namespace kalvetra
