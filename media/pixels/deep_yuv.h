// YUV into 8 bits in single precision: what whole numbers of 16 bits cannot hold.
#pragma once

#include "media/picture.h"
#include "media/pixels/conversion_options.h"
#include "media/pixels/dither.h"
#include "media/pixels/yuv_rows.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own. Each component is within 0.001 levels of the exact value
// before it is rounded or dithered; the bytes are the same on every machine.
class DeepYuvConverter {
 public:
  // Takes what YuvConverter handles. The same options for every call.
  void convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options, Image& image);

 private:
  YuvRows rows_;
  Thresholds thresholds_;
};

}  // namespace kalvetra
