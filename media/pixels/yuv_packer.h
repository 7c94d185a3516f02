// Rows of pictures into YUV planes.
#pragma once

#include "media/pixels/alpha_rows.h"
#include "media/pixels/deep_rows.h"

namespace kalvetra {

// Limited range of one matrix. Thread-safe; holds constants only.
class YuvPacker {
 public:
  explicit YuvPacker(AVColorSpace matrix);

  // YUV444P10 or YUVA444P10.
  void pack444(AlphaRows& rows, AVFrame& frame) const;
  void pack444(DeepRows& rows, AVFrame& frame) const;
  // YUV420P, YUVA420P or YUV420P10; of deep pictures the last alone. `fields`: even and odd rows are two interlaced
  // fields, whose chroma is averaged within each; chroma rows alternate between them as the rows do.
  void pack420(AlphaRows& rows, AVFrame& frame, bool fields) const;
  void pack420(DeepRows& rows, AVFrame& frame, bool fields) const;

 private:
  struct Yuv {
    float y, u, v;  // y 0..1, u and v -0.5..0.5
  };
  Yuv toYuv(float red, float green, float blue) const;
  Yuv toYuv(const unsigned char* argb) const;
  Yuv toYuv(const float* rgba) const;
  template <class Sample, class Rows>
  void packLuma(Rows& rows, AVFrame& frame) const;
  template <class Sample, bool kWeighted, class Rows>
  void packChroma(Rows& rows, AVFrame& frame, bool fields) const;
  template <bool kWeighted, class Pixel>
  Yuv averageAt(const Pixel* const (&rows)[2], int x, int width) const;

  float red_, blue_;  // luma weights of the matrix
};

}  // namespace kalvetra
