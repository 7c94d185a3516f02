// Deep pictures into the planes that encoders take.
#pragma once

#include <cstdint>

#include "media/alpha_mode.h"
#include "media/picture.h"
#include "media/pixels/deep_rows.h"
#include "media/pixels/light_curves.h"
#include "media/pixels/packing_options.h"
#include "media/pixels/yuv_packer.h"

namespace kalvetra {

// What FramePacker does for pictures of 8 bits. Thread-safe; holds constants only.
//
// Whole numbers (RGB(A) of 16 bits in either byte order, GBR(A)P of 10 to 16 bits, YUV(A)444P10 and YUV420P10 in
// limited range): rounded once, kept to what the format holds. GBR(A)PF32: linear light of LightCurve, times alpha
// where it is premultiplied; where halves are written, rounded to one, to the even one of two, at most 65504.
class DeepPacker {
 public:
  // `transfer` is what the pictures' code values mean; only formats in floating point read it. Throws UserError when it
  // cannot be made linear.
  DeepPacker(AVPixelFormat format, AVColorSpace matrix, AlphaMode alpha, AVColorTransferCharacteristic transfer,
             const PackingOptions& options);

  // False for formats of 8 bits.
  static bool handles(AVPixelFormat format);
  // `hidden`: the colours of hiddenColorsOf that go where alpha is 0, or null for the picture's own.
  FramePtr pack(const Image& image, bool fields, const Image* hidden = nullptr) const;

 private:
  void packLight(DeepRows rows, AVFrame& frame) const;

  AVPixelFormat format_;
  AlphaMode alpha_;
  PackingOptions options_;
  YuvPacker yuv_;
  LightCurve light_;
};

// The alpha of a frame in 16 bits a pixel, in rows without gaps, where the packer was asked for it; else null.
const std::uint16_t* wideAlphaOf(const AVFrame& frame);

}  // namespace kalvetra
