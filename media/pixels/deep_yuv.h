// YUV into host order in single precision: what whole numbers of 16 bits cannot hold.
#pragma once

#include <cstdint>
#include <vector>

#include "media/picture.h"
#include "media/pixels/conversion_options.h"
#include "media/pixels/dither.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own. Each component is within 0.001 levels of the exact value
// before it is rounded or dithered; the bytes are the same on every machine.
class DeepYuvConverter {
 public:
  // Takes what YuvConverter handles. The same options for every call.
  void convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options, Image& image);

 private:
  void readLuma(const AVFrame& frame, const AVPixFmtDescriptor& format, int y);
  void readChroma(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y, bool fields,
                  std::vector<float>& out);
  void spreadColumns(const AVPixFmtDescriptor& format, AVChromaLocation location, int columns,
                     std::vector<float>& out) const;

  std::vector<std::uint16_t> samples_, lower_;
  std::vector<float> y_, u_, v_;  // one row of the picture's width, in stored units
  std::vector<float> between_;    // one row of chroma between rows, a border on each side
  Thresholds thresholds_;
};

}  // namespace kalvetra
