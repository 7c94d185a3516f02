// Keyed pictures into the planes that encoders take, without a scaler: alpha stays exact.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// Packs pictures for one encoder. Thread-safe; holds constants only.
//
// BGRA and RGBA: the same bytes. YUVA444P10: alpha and colours widened to 10 bits, colours in the limited range of the
// given matrix. YUV(A)420P: 8 bits, limited range; chroma sited left, averaged with the alpha as weight, so that
// colours of transparent pixels do not bleed into the edges.
class FramePacker {
 public:
  // Throws UserError for a pixel format that no output uses.
  FramePacker(AVPixelFormat format, AVColorSpace matrix);
  FramePtr pack(const Image& image) const;

 private:
  struct Yuv {
    float y, u, v;  // y 0..1, u and v -0.5..0.5
  };
  Yuv toYuv(const unsigned char* argb) const;
  void pack444(const Image& image, AVFrame& frame) const;
  void pack420(const Image& image, AVFrame& frame) const;

  AVPixelFormat format_;
  float red_, blue_;  // luma weights of the matrix
};

}  // namespace kalvetra
