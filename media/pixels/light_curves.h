// Code values and linear light. In deep pictures nothing is clamped: below 0 a curve is its own mirror image, above 1
// it goes on.
#pragma once

#include <array>

#include "media/ffmpeg.h"

namespace kalvetra {

// The largest value of half floats, and what infinities are taken for.
inline constexpr float kLargestHalf = 65504.0f;

// The transfer function of IEC 61966-2-1 (sRGB), by which pictures in linear light get code values, of `count` values
// in place.
void encodeSrgb(float* values, int count);

// From the code values of a clip to linear light.
class LightCurve {
 public:
  // The inverse of the sRGB curve for sRGB; of the camera curve of ITU-R BT.709 for it and its like (BT.601, BT.2020,
  // xvYCC); values as they are for linear pictures. For PQ the light of the display by SMPTE ST 2084, for HLG that of a
  // display of 1000 cd/m2 by ITU-R BT.2100, with its system gamma of 1.2: both with 1 for 100 cd/m2, at most 65504.
  // Throws UserError that names any other transfer.
  explicit LightCurve(AVColorTransferCharacteristic transfer) : shape_(shapeOf(transfer)) {}

  // Of the code values 0..255 over 255, for pictures of 8 bits. Throws UserError for PQ and HLG.
  static std::array<float, 256> ofBytes(AVColorTransferCharacteristic transfer);

  // Rows of a deep picture, in place.
  void apply(float* red, float* green, float* blue, int count) const;

 private:
  enum class Shape { Linear, Bt709, Srgb, Pq, Hlg };
  static Shape shapeOf(AVColorTransferCharacteristic transfer);

  Shape shape_;
};

}  // namespace kalvetra
