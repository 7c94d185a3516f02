#include "media/pixels/frame_packer.h"

#include <bit>

#include "media/pixels/hidden_colors.h"
#include "media/pixels/light_curves.h"
#include "media/pixels/picture_depth.h"
#include "media/plane_rows.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// `order` holds, for each byte of the packed pixel, the byte of host order that goes there.
template <std::size_t N>
void packBytes(AlphaRows& rows, AVFrame& frame, const int (&order)[N]) {
  for (int y = 0; y < rows.height(); ++y) {
    const unsigned char* in = rows.row(y);
    auto* out = planeRow<unsigned char>(frame, 0, y);
    for (int x = 0; x < rows.width(); ++x, in += 4) {
      for (const int c : order) *out++ = in[c];
    }
  }
}

// 16 bits a component: a level times 257 is the same byte twice, in either byte order.
template <std::size_t N>
void packWords(AlphaRows& rows, AVFrame& frame, const int (&order)[N]) {
  for (int y = 0; y < rows.height(); ++y) {
    const unsigned char* in = rows.row(y);
    auto* out = planeRow<unsigned char>(frame, 0, y);
    for (int x = 0; x < rows.width(); ++x, in += 4, out += 2 * N) {
      for (std::size_t i = 0; i < N; ++i) out[2 * i] = out[2 * i + 1] = in[order[i]];
    }
  }
}

// The nearest number of 11 significant bits, for 0..1: the OpenEXR encoder cuts a half float's missing bits off.
float nearestHalf(float value) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  return std::bit_cast<float>((bits + 0x1000u) & ~0x1fffu);
}

bool isLight(AVPixelFormat format) { return format == AV_PIX_FMT_GBRAPF32 || format == AV_PIX_FMT_GBRPF32; }

}  // namespace

FramePacker::FramePacker(AVPixelFormat format, AVColorSpace matrix, AlphaMode alpha,
                         AVColorTransferCharacteristic transfer, const PackingOptions& options)
    : format_(format), alpha_(alpha), dither_(options.dither), yuv_(matrix), light_{} {
  if ((options.deep || options.floatPixels) && DeepPacker::handles(format)) {
    deep_.emplace(format, matrix, alpha, transfer, options);
  } else if (isLight(format)) {
    light_ = LightCurve::ofBytes(transfer);
  }
}

FramePtr FramePacker::pack(const Image& image, bool fields, bool extendsHidden) const {
  if (extendsHidden) {
    if (!deep_ || !image.isDeep()) return pack(withHiddenColorsExtended(image), fields);
    const Image hidden = hiddenColorsOf(image);
    return deep_->pack(image, fields, &hidden);
  }
  if (deep_) return image.isDeep() ? deep_->pack(image, fields) : deep_->pack(widened(image), fields);
  return image.isDeep() ? packEightBits(narrowed(image, dither_), fields) : packEightBits(image, fields);
}

FramePtr FramePacker::packEightBits(const Image& image, bool fields) const {
  FramePtr frame = makePicture(format_, image.width, image.height);
  AlphaRows rows(image, alpha_);
  switch (format_) {
    case AV_PIX_FMT_BGRA:
    case AV_PIX_FMT_BGR0:
      packBytes(rows, *frame, {3, 2, 1, 0});
      break;
    case AV_PIX_FMT_RGBA:
      packBytes(rows, *frame, {1, 2, 3, 0});
      break;
    case AV_PIX_FMT_ARGB:
      packBytes(rows, *frame, {0, 1, 2, 3});
      break;
    case AV_PIX_FMT_RGB24:
      packBytes(rows, *frame, {1, 2, 3});
      break;
    case AV_PIX_FMT_RGBA64BE:
    case AV_PIX_FMT_RGBA64LE:
      packWords(rows, *frame, {1, 2, 3, 0});
      break;
    case AV_PIX_FMT_RGB48BE:
      packWords(rows, *frame, {1, 2, 3});
      break;
    case AV_PIX_FMT_YUV444P10:
    case AV_PIX_FMT_YUVA444P10:
      yuv_.pack444(rows, *frame);
      break;
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVA420P:
    case AV_PIX_FMT_YUV420P10:
      yuv_.pack420(rows, *frame, fields);
      break;
    case AV_PIX_FMT_GBRPF32:
    case AV_PIX_FMT_GBRAPF32:
      packLight(image, *frame);
      break;
    default:
      throw UserError(std::string("pictures cannot be written as ") + av_get_pix_fmt_name(format_));
  }
  return frame;
}

// Planes green, blue, red and alpha. Light first, then times alpha: the other way round darkens every edge.
void FramePacker::packLight(const Image& image, AVFrame& frame) const {
  constexpr int kPlaneOf[4] = {3, 2, 0, 1};  // of the bytes alpha, red, green, blue
  for (int y = 0; y < image.height; ++y) {
    float* out[4]{};
    for (int c = frame.data[3] != nullptr ? 0 : 1; c < 4; ++c) out[c] = planeRow<float>(frame, kPlaneOf[c], y);
    const unsigned char* in = image.row(y);
    for (int x = 0; x < image.width; ++x, in += 4) {
      const float alpha = alpha_ == AlphaMode::None ? 1.0f : static_cast<float>(in[0]) / 255.0f;
      const float factor = alpha_ == AlphaMode::Premultiplied ? alpha : 1.0f;
      if (out[0] != nullptr) out[0][x] = nearestHalf(alpha);
      for (int c = 1; c < 4; ++c) out[c][x] = nearestHalf(light_[in[c]] * factor);
    }
  }
}

}  // namespace kalvetra
