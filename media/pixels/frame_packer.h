// Keyed pictures into the planes that encoders take, without a scaler: alpha stays exact.
#pragma once

#include <array>
#include <optional>

#include "media/alpha_mode.h"
#include "media/picture.h"
#include "media/pixels/deep_packer.h"
#include "media/pixels/packing_options.h"
#include "media/pixels/yuv_packer.h"

namespace kalvetra {

// Packs pictures for one encoder. Thread-safe; holds constants only.
//
// Packed RGB of 8 bits (BGRA, BGR0, RGBA, ARGB, RGB24): the same bytes. RGBA64 in either byte order, RGB48BE: bytes
// times 257, which is exact. YUV(A)444P10: alpha and colours widened to 10 bits, colours in the limited range of the
// matrix. YUV(A)420P, YUV420P10: limited range; chroma sited left, averaged with straight alpha as weight, so that
// colours of transparent pixels do not bleed into the edges. GBR(A)PF32: linear light 0..1, rounded to what half floats
// hold.
//
// All this of pictures of 8 bits. Deep ones are packed as DeepPacker says, where the options call for it; otherwise,
// and in formats of 8 bits, they are narrowed first.
//
// Alpha: None makes every pixel opaque and leaves its colour alone. Premultiplied multiplies the 8-bit components,
// (c * a + 127) / 255, before anything else; float formats multiply the light instead.
class FramePacker {
 public:
  // `transfer` is what the pictures' code values mean; only float formats read it. Throws UserError when they cannot be
  // made linear with it: PQ and HLG need deep pictures.
  FramePacker(AVPixelFormat format, AVColorSpace matrix, AlphaMode alpha = AlphaMode::Straight,
              AVColorTransferCharacteristic transfer = AVCOL_TRC_BT709, const PackingOptions& options = {});
  // `fields`: even and odd rows are two interlaced fields, whose chroma must not mix. Throws UserError for a pixel
  // format that no output uses.
  // `extendsHidden`: with the colours of withHiddenColorsExtended.
  FramePtr pack(const Image& image, bool fields = false, bool extendsHidden = false) const;

 private:
  FramePtr packEightBits(const Image& image, bool fields) const;
  void packLight(const Image& image, AVFrame& frame) const;

  AVPixelFormat format_;
  AlphaMode alpha_;
  bool dither_;
  std::optional<DeepPacker> deep_;  // where it has the pictures
  YuvPacker yuv_;
  std::array<float, 256> light_;  // of code values; for float formats
};

}  // namespace kalvetra
