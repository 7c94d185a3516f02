// Decoded frames into pictures: of 8 bits in the engine's host order, or deep.
#pragma once

#include <string>

#include "media/pixels/conversion_options.h"
#include "media/pixels/deep_converter.h"
#include "media/pixels/float_rgb.h"
#include "media/pixels/yuv_converter.h"

namespace kalvetra {

// Resolves the tags of a stream: what it does not say is guessed (the matrix by frame height). `guess` then gets a
// sentence fragment that names the guess, otherwise it stays empty.
ColorTags resolveColor(ColorTags tags, AVPixelFormat format, int height, std::string& guess);

// Converts the frames of one clip. Holds a scaler, so each thread needs one of its own.
class FrameConverter {
 public:
  explicit FrameConverter(const ColorTags& color, const ConversionOptions& options = {})
      : color_(color), options_(options) {}

  // False for formats that convert() refuses.
  static bool canRead(AVPixelFormat format);

  // Deep, if the options ask for it: see DeepConverter; what that does not handle is widened from 8 bits, or scaled to
  // 16 where it holds more than 8. Otherwise 8 bits a component, alpha 255 where the frame has none. Colours as they
  // are stored, or straight if the options call them premultiplied. RGB and alpha are exact or correctly rounded; YUV
  // goes through the clip's matrix and range; linear light in floating point is encoded for sRGB first, unless the
  // options call it levels. Throws UserError for a format that cannot be read.
  void convert(const AVFrame& frame, Image& image);
  Image convert(const AVFrame& frame) {
    Image image;
    convert(frame, image);
    return image;
  }

  // What deep pictures held that is no light, since the beginning.
  const OddValues& oddValues() const { return deep_.oddValues(); }

 private:
  void convertBytes(const AVFrame& frame, Image& image);
  void convertDeep(const AVFrame& frame, Image& image);
  void refuseUnknownMatrix(const AVPixFmtDescriptor& format) const;
  void convertStored(const AVFrame& frame, Image& image);
  void readRgb(const AVFrame& frame, const AVPixFmtDescriptor& format, Image& image);
  void convertColors(const AVFrame& frame, const AVPixFmtDescriptor& format, Image& image);
  void scale(const AVFrame& frame, AVPixelFormat target);
  void prepareScaler(const AVFrame& frame, AVPixelFormat target);

  ColorTags color_;
  ConversionOptions options_;
  YuvConverter yuv_;
  FloatRgbConverter float_;
  DeepConverter deep_;
  Image bytes_;  // where deep pictures have to come from 8 bits
  std::vector<std::uint16_t> line_;
  ScalerPtr scaler_;
  FramePtr scaled_;
  int scalerFormat_ = AV_PIX_FMT_NONE;
};

}  // namespace kalvetra
