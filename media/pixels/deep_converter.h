// Decoded frames into deep pictures: PixelFormat::RgbaF32.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "media/picture.h"
#include "media/pixels/conversion_options.h"
#include "media/pixels/odd_values.h"
#include "media/pixels/yuv_rows.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own. The same bytes on every machine.
class DeepConverter {
 public:
  // True for YUV and grey of 8 to 16 bits as YuvConverter takes them, RGB of 8 to 16 bits, and RGB and grey in floating
  // point of 16 or 32 bits; in either byte order.
  static bool handles(const AVPixFmtDescriptor& format);

  // A frame of such a format. YUV goes through the clip's matrix and range in single precision, with neutral chroma
  // exact; RGB and alpha of whole numbers are correctly rounded; nothing is clamped but alpha. In floating point, what
  // is no number becomes 0, infinities 65504, and linear light (so tagged, or not tagged at all) gets the sRGB curve
  // unless the options call it levels; all other values stay as they are.
  void convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options, Image& image);

  // What was replaced since the beginning.
  const OddValues& oddValues() const { return oddValues_; }

 private:
  using Rows = std::array<std::vector<float>, 4>;  // red, green, blue, alpha

  void convertYuv(const AVFrame& frame, const ColorTags& color, bool fields, Image& image);
  void convertRgb(const AVFrame& frame, Image& image);
  void convertFloats(const AVFrame& frame, const ConversionOptions& options, Image& image);
  void readWholeNumbers(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                        std::vector<float>& out);
  void readFloats(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                  std::vector<float>& out);

  YuvRows yuv_;
  std::vector<std::uint16_t> samples_;
  Rows rows_;
  OddValues oddValues_;
};

}  // namespace kalvetra
