// Decoded frames into the engine's host order.
#pragma once

#include <string>

#include "media/yuv_converter.h"

namespace kalvetra {

// Resolves the tags of a stream: what it does not say is guessed (the matrix by frame height). `guess` then gets a
// sentence fragment that names the guess, otherwise it stays empty.
ColorTags resolveColor(ColorTags tags, AVPixelFormat format, int height, std::string& guess);

struct ConversionOptions {
  // Spread the step from deeper sources to 8 bits over a fixed pattern of 8 x 8 pixels, the same for every frame: a
  // flat colour keeps its exact mean. 8-bit sources and alpha stay as they are.
  bool dither = false;
  // The pictures consist of two fields: their chroma is interpolated within its own field.
  bool fields = false;
};

// Converts the frames of one clip. Holds a scaler, so each thread needs one of its own.
class FrameConverter {
 public:
  explicit FrameConverter(const ColorTags& color, const ConversionOptions& options = {})
      : color_(color), options_(options) {}

  // 8 bits a component, straight alpha (255 where the frame has none). RGB and alpha are exact or correctly rounded;
  // YUV goes through the clip's matrix and range. Throws UserError for a format that cannot be read.
  void convert(const AVFrame& frame, Image& image);
  Image convert(const AVFrame& frame) {
    Image image;
    convert(frame, image);
    return image;
  }

 private:
  void convertColors(const AVFrame& frame, const AVPixFmtDescriptor& format, Image& image);
  void scale(const AVFrame& frame, Image& image);
  void prepareScaler(const AVFrame& frame);

  ColorTags color_;
  ConversionOptions options_;
  YuvConverter yuv_;
  ScalerPtr scaler_;
  FramePtr scaled_;
  int scalerFormat_ = AV_PIX_FMT_NONE;
};

}  // namespace kalvetra
