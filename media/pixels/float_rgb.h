// Pictures in floating point, as OpenEXR files hold them, into 8 bits.
#pragma once

#include "media/picture.h"
#include "media/pixels/conversion_options.h"
#include "media/pixels/dither.h"

namespace kalvetra {

// The transfer function of IEC 61966-2-1 (sRGB) times 255, for linear light of 0..1; what lies outside is clamped, and
// what is no number is 0. Within 0.001 levels.
float srgbLevel(float light);

// Holds a pattern, so each thread needs one of its own.
class FloatRgbConverter {
 public:
  // True for RGB and grey of 32 bits in floating point, in the machine's byte order.
  static bool handles(const AVPixFmtDescriptor& format);

  // Colours and alpha (255 without one). Frames in linear light, or whose transfer is not named, are encoded for sRGB
  // first, unless the options call them levels; otherwise 0..1 becomes 0..255 as it is. The same options for every
  // call.
  void convert(const AVFrame& frame, const ConversionOptions& options, Image& image);

 private:
  Thresholds thresholds_;
};

}  // namespace kalvetra
