#include "media/pixels/frame_converter.h"

#include <algorithm>
#include <cstring>

#include "media/pixels/dither.h"
#include "media/pixels/luma_weights.h"
#include "media/pixels/picture_depth.h"
#include "media/pixels/samples.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

bool isRgb(const AVPixFmtDescriptor& d) { return (d.flags & AV_PIX_FMT_FLAG_RGB) != 0; }

// Formats whose very name says that their range is full.
bool isFullRangeByFormat(AVPixelFormat format) {
  return format == AV_PIX_FMT_YUVJ420P || format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P ||
         format == AV_PIX_FMT_YUVJ440P || format == AV_PIX_FMT_YUVJ411P;
}

// One component of one row, scaled from its depth to 8 bits and rounded, into every fourth byte of `out`.
void readComponent(const AVFrame& frame, const AVPixFmtDescriptor& d, int y, int component, bool dither,
                   unsigned char* out, std::vector<std::uint16_t>& line) {
  line.resize(static_cast<std::size_t>(frame.width));
  readSamples(frame, d, component, y, frame.width, line.data());
  const unsigned int largest = (1u << d.comp[component].depth) - 1u;
  if (!dither || largest <= 255u) {
    for (const std::uint16_t v : line) {
      *out = static_cast<unsigned char>((v * 255u + largest / 2u) / largest);
      out += 4;
    }
    return;
  }
  for (int x = 0; x < frame.width; ++x, out += 4) {
    const unsigned int halves = 2u * static_cast<unsigned int>(ditherStep(x, y)) + 1u;  // of 128 in place of a half
    *out = static_cast<unsigned char>((line[static_cast<std::size_t>(x)] * 255u * 128u + halves * largest) /
                                      (128u * largest));
  }
}

void convertPalette(const AVFrame& frame, Image& image) {
  for (int y = 0; y < image.height; ++y) {
    unsigned char* out = image.row(y);
    const std::uint8_t* index = frame.data[0] + std::ptrdiff_t{y} * frame.linesize[0];
    for (int x = 0; x < image.width; ++x, out += 4) {
      std::uint32_t color;  // 0xAARRGGBB
      std::memcpy(&color, frame.data[1] + 4 * index[x], 4);
      for (int c = 0; c < 4; ++c) out[c] = static_cast<unsigned char>(color >> (24 - 8 * c));
    }
  }
}

void divideByAlpha(Image& image) {
  for (std::size_t i = 0; i < image.bytes.size(); i += 4) {
    unsigned char* pixel = image.bytes.data() + i;
    const unsigned int alpha = pixel[0];
    if (alpha == 255) continue;
    for (int c = 1; c < 4; ++c) {
      const unsigned int level = alpha == 0 ? 0 : (pixel[c] * 255u + alpha / 2u) / alpha;
      pixel[c] = static_cast<unsigned char>(std::min(level, 255u));
    }
  }
}

const AVPixFmtDescriptor& descriptorOf(const AVFrame& frame) {
  const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  if (format == nullptr) throw UserError("the pictures come in an unknown pixel format; convert the clip first");
  return *format;
}

}  // namespace

ColorTags resolveColor(ColorTags tags, AVPixelFormat format, int height, std::string& guess) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  const bool rgb = d != nullptr && isRgb(*d);
  if (rgb) {
    tags.matrix = AVCOL_SPC_RGB;
    tags.range = AVCOL_RANGE_JPEG;
  }
  const bool inFloat = d != nullptr && (d->flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
  if (inFloat && tags.transfer == AVCOL_TRC_LINEAR) tags.transfer = AVCOL_TRC_IEC61966_2_1;  // once it is converted
  if (tags.range == AVCOL_RANGE_UNSPECIFIED) {
    const bool full = inFloat || isFullRangeByFormat(format);
    tags.range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    if (!full) guess = "limited range";
  }
  const bool large = height >= 720, hasChroma = d == nullptr || d->nb_components >= 3;
  const bool grey =
      !hasChroma && tags.range == AVCOL_RANGE_JPEG;  // in pictures it is what RGB of three equal values is
  if (tags.matrix == AVCOL_SPC_UNSPECIFIED || tags.matrix == AVCOL_SPC_RESERVED) {
    tags.matrix = large ? AVCOL_SPC_BT709 : height == 576 ? AVCOL_SPC_BT470BG : AVCOL_SPC_SMPTE170M;
    if (hasChroma) guess = std::string(large ? "BT.709" : "BT.601") + " colour" + (guess.empty() ? "" : ", " + guess);
  }
  const bool wide = grey || tags.matrix == AVCOL_SPC_BT709 || tags.matrix == AVCOL_SPC_RGB;
  if (tags.primaries == AVCOL_PRI_UNSPECIFIED || tags.primaries == AVCOL_PRI_RESERVED) {
    tags.primaries = wide                                  ? AVCOL_PRI_BT709
                     : tags.matrix == AVCOL_SPC_BT2020_NCL ? AVCOL_PRI_BT2020
                     : tags.matrix == AVCOL_SPC_BT470BG    ? AVCOL_PRI_BT470BG
                                                           : AVCOL_PRI_SMPTE170M;
  }
  if (tags.transfer == AVCOL_TRC_UNSPECIFIED || tags.transfer == AVCOL_TRC_RESERVED) {
    tags.transfer = rgb || grey ? AVCOL_TRC_IEC61966_2_1 : wide ? AVCOL_TRC_BT709 : AVCOL_TRC_SMPTE170M;
  }
  return tags;
}

void FrameConverter::convert(const AVFrame& frame, Image& image) {
  if (options_.deep) {
    convertDeep(frame, image);
  } else {
    convertBytes(frame, image);
  }
}

void FrameConverter::convertBytes(const AVFrame& frame, Image& image) {
  convertStored(frame, image);
  if (options_.premultiplied) divideByAlpha(image);
}

void FrameConverter::convertDeep(const AVFrame& frame, Image& image) {
  const AVPixFmtDescriptor& format = descriptorOf(frame);
  if (DeepConverter::handles(format)) {
    refuseUnknownMatrix(format);
    deep_.convert(frame, color_, options_, image);
  } else if ((format.flags & AV_PIX_FMT_FLAG_PAL) != 0 || format.comp[0].depth <= 8) {
    convertBytes(frame, bytes_);
    image = widened(bytes_);
  } else {
    refuseUnknownMatrix(format);
    scale(frame, AV_PIX_FMT_RGBA64);
    deep_.convert(*scaled_, color_, options_, image);
  }
}

bool FrameConverter::canRead(AVPixelFormat format) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  if (d == nullptr || (d->flags & AV_PIX_FMT_FLAG_HWACCEL) != 0) return false;
  return (d->flags & AV_PIX_FMT_FLAG_PAL) != 0 || FloatRgbConverter::handles(*d) || isReadExactly(*d) ||
         YuvConverter::handles(*d) || sws_isSupportedInput(format) != 0;
}

void FrameConverter::convertStored(const AVFrame& frame, Image& image) {
  const AVPixFmtDescriptor& format = descriptorOf(frame);
  image.resize(frame.width, frame.height);
  if ((format.flags & AV_PIX_FMT_FLAG_PAL) != 0) {
    convertPalette(frame, image);
    return;
  }

  if (FloatRgbConverter::handles(format)) {
    float_.convert(frame, options_, image);
    return;
  }
  if (isReadExactly(format)) {
    readRgb(frame, format, image);
    return;
  }
  convertColors(frame, format, image);
  const bool hasAlpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const bool inFloat = (format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0;
  if (!hasAlpha || inFloat) return;  // in floating point the scaler's alpha has to do
  for (int y = 0; y < image.height; ++y) {
    readComponent(frame, format, y, format.nb_components - 1, false, image.row(y), line_);
  }
}

void FrameConverter::readRgb(const AVFrame& frame, const AVPixFmtDescriptor& format, Image& image) {
  const bool hasAlpha = (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  for (int y = 0; y < image.height; ++y) {
    unsigned char* row = image.row(y);
    for (int c = 0; c < 3; ++c) readComponent(frame, format, y, c, options_.dither, row + c + 1, line_);
    if (hasAlpha) {
      readComponent(frame, format, y, 3, false, row, line_);
    } else {
      for (int x = 0; x < image.width; ++x) row[std::ptrdiff_t{4} * x] = 255;
    }
  }
}

// Opaque pictures; alpha that the frame may have is read apart.
void FrameConverter::convertColors(const AVFrame& frame, const AVPixFmtDescriptor& format, Image& image) {
  refuseUnknownMatrix(format);
  if (YuvConverter::handles(format)) {
    yuv_.convert(frame, color_, options_, image);
    return;
  }
  scale(frame, AV_PIX_FMT_ARGB);
  for (int y = 0; y < image.height; ++y) {
    const std::uint8_t* row = scaled_->data[0] + std::ptrdiff_t{y} * scaled_->linesize[0];
    std::copy_n(row, std::ptrdiff_t{4} * image.width, image.row(y));
  }
}

void FrameConverter::refuseUnknownMatrix(const AVPixFmtDescriptor& format) const {
  const bool hasChroma = format.nb_components >= 3 && !isRgb(format);
  if (!hasChroma || lumaWeights(color_.matrix)) return;
  const char* name = av_color_space_name(color_.matrix);
  throw UserError("the colour matrix '" + std::string(name != nullptr ? name : "unknown") +
                  "' cannot be read; convert the clip to BT.709 first");
}

// The scaler gives the colours; its alpha is off by one in places and is read apart. It may write past the end of a
// row, so it works on a padded picture. The same target for every call.
void FrameConverter::scale(const AVFrame& frame, AVPixelFormat target) {
  prepareScaler(frame, target);
  sws_scale(scaler_.get(), frame.data, frame.linesize, 0, frame.height, scaled_->data, scaled_->linesize);
}

void FrameConverter::prepareScaler(const AVFrame& frame, AVPixelFormat target) {
  if (scaler_ && frame.width == scaled_->width && frame.height == scaled_->height && frame.format == scalerFormat_)
    return;
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(format);
  const bool hasChroma = d->nb_components >= 3 && !isRgb(*d);
  const int flags = SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
  if (sws_isSupportedInput(format) != 0) {
    scaler_.reset(sws_getContext(frame.width, frame.height, format, frame.width, frame.height, target, flags, nullptr,
                                 nullptr, nullptr));
  }
  if (!scaler_) {
    throw UserError("the pixel format " + std::string(d->name) + " cannot be read; convert the clip first");
  }
  // Without these the scaler takes BT.601 and limited range for granted.
  const int* coefficients = sws_getCoefficients(hasChroma ? color_.matrix : SWS_CS_DEFAULT);
  const int unity = 1 << 16;
  sws_setColorspaceDetails(scaler_.get(), coefficients, color_.range == AVCOL_RANGE_JPEG, coefficients, 1, 0, unity,
                           unity);
  scaled_ = makePicture(target, frame.width, frame.height);
  scalerFormat_ = frame.format;
}

}  // namespace kalvetra
