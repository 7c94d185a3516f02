// YUV and grey pictures into host order, without a scaler.
#pragma once

#include <array>
#include <vector>

#include "media/picture.h"
#include "media/pixels/conversion_options.h"
#include "media/pixels/deep_yuv.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own.
//
// Chroma lies where the frame says it does, left of the first of two columns and between two rows where it says
// nothing. Between chroma samples colours go in a straight line; the border is repeated. Each component is within 0.53
// levels of the exact value (dithered ones within 1), and the same on every machine.
class YuvConverter {
 public:
  // True for YUV and grey of 8 to 16 bits, planar, half-planar or packed, of either byte order, whose chroma is
  // quartered at most.
  static bool handles(const AVPixFmtDescriptor& format);

  // Colours of an opaque picture of the frame's size; alpha that the frame may have is not read. The frame's format
  // must be one that this class handles, and lumaWeights must know the matrix unless the picture is grey. The same
  // options for every call.
  void convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options, Image& image);
  void convert(const AVFrame& frame, const ColorTags& color, Image& image) { convert(frame, color, {}, image); }

 private:
  template <class Rows>
  void convertRows(const Rows& rows, const AVFrame& frame, const ColorTags& color, Image& image);
  template <class Rows>
  void readChroma(const Rows& rows, int component, int y, std::vector<std::int16_t>& out);

  std::vector<std::int16_t> y_, u_, v_;  // one row, 16 times the samples
  std::vector<std::int16_t> blended_;    // one row of chroma between rows: 4 times the samples, a border each side
  std::array<std::vector<std::uint16_t>, 2> gathered_;
  DeepYuvConverter deep_;  // for more than 10 bits, dither, and chroma of other shares than a half
};

}  // namespace kalvetra
