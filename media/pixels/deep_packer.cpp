#include "media/pixels/deep_packer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "media/pixels/float_pixels.h"
#include "media/plane_rows.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

bool isPlanarRgb(const AVPixFmtDescriptor& format) {
  constexpr auto kBoth = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PLANAR;
  return (format.flags & kBoth) == kBoth;
}

bool isFloat(const AVPixFmtDescriptor& format) { return (format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0; }

bool isYuv(AVPixelFormat format) {
  return format == AV_PIX_FMT_YUV444P10 || format == AV_PIX_FMT_YUVA444P10 || format == AV_PIX_FMT_YUV420P10;
}

// To 0..most, not yet rounded; what is no number gives 0.
float levelOf(float value, float most) { return value > 0.0f ? std::min(value * most, most) : 0.0f; }

// Samples of 9 to 16 bits of RGB, packed or planar, as FFmpeg's description of the format places them.
void packWords(DeepRows& rows, AVFrame& frame, const AVPixFmtDescriptor& format) {
  const bool swapped = ((format.flags & AV_PIX_FMT_FLAG_BE) != 0) != (std::endian::native == std::endian::big);
  for (int y = 0; y < rows.height(); ++y) {
    const float* in = rows.row(y);
    for (int i = 0; i < format.nb_components; ++i) {
      const AVComponentDescriptor& c = format.comp[i];
      const auto most = static_cast<float>((1 << c.depth) - 1);
      auto* out = planeRow<unsigned char>(frame, c.plane, y) + c.offset;
      for (int x = 0; x < rows.width(); ++x, out += c.step) {
        auto word = static_cast<unsigned int>(levelOf(in[4 * x + i], most) + 0.5f);
        if (swapped) word = (word << 8 | word >> 8) & 0xFFFFu;
        const auto stored = static_cast<std::uint16_t>(word);
        std::memcpy(out, &stored, sizeof stored);
      }
    }
  }
}

// To the even one of two halves that are equally near: the OpenEXR encoder cuts the missing bits off.
float nearestHalf(float value) {
  constexpr float kLeastNormal = 0x1p-14f;
  const float size = std::min(std::abs(value), kLargestHalf);
  if (size < kLeastNormal) return std::copysign((size + 0.5f) - 0.5f, value);  // floats at 0.5 are 2^-24 apart, too
  const auto bits = std::bit_cast<std::uint32_t>(size);
  return std::copysign(std::bit_cast<float>((bits + 0xFFFu + (bits >> 13 & 1u)) & ~0x1FFFu), value);
}

AVBufferRef* wideAlpha(const Image& image) {
  AVBufferRef* buffer = av_buffer_alloc(image.bytes.size() / 8);
  if (buffer == nullptr) throw std::bad_alloc();
  auto* out = reinterpret_cast<std::uint16_t*>(buffer->data);
  const std::size_t pixels = image.bytes.size() / 16;
  const float* in = image.floats(0);
  for (std::size_t i = 0; i < pixels; ++i) out[i] = static_cast<std::uint16_t>(levelOf(in[4 * i + 3], 65535.0f) + 0.5f);
  return buffer;
}

}  // namespace

const std::uint16_t* wideAlphaOf(const AVFrame& frame) {
  return frame.opaque_ref == nullptr ? nullptr : reinterpret_cast<const std::uint16_t*>(frame.opaque_ref->data);
}

DeepPacker::DeepPacker(AVPixelFormat format, AVColorSpace matrix, AlphaMode alpha,
                       AVColorTransferCharacteristic transfer, const PackingOptions& options)
    : format_(format),
      alpha_(alpha),
      options_(options),
      yuv_(matrix),
      light_(isFloat(*av_pix_fmt_desc_get(format)) ? transfer : AVCOL_TRC_LINEAR) {}

bool DeepPacker::handles(AVPixelFormat format) {
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(format);
  if ((d.flags & AV_PIX_FMT_FLAG_RGB) == 0) return isYuv(format);
  return isFloat(d) ? isPlanarRgb(d) : d.comp[0].depth > 8;
}

FramePtr DeepPacker::pack(const Image& image, bool fields, const Image* hidden) const {
  if (options_.floatPixels) return floatPixels(DeepRows(image, alpha_, hidden));
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(format_);
  FramePtr frame = makePicture(format_, image.width, image.height);
  if (options_.wideAlpha) frame->opaque_ref = wideAlpha(image);
  DeepRows rows(image, alpha_, hidden);
  if (isFloat(format)) {
    packLight(DeepRows(image, AlphaMode::Straight, hidden), *frame);
  } else if (!isYuv(format_)) {
    packWords(rows, *frame, format);
  } else if (format_ == AV_PIX_FMT_YUV420P10) {
    yuv_.pack420(rows, *frame, fields);
  } else {
    yuv_.pack444(rows, *frame);
  }
  return frame;
}

// Planes green, blue, red and alpha. Light first, then times alpha: the other way round darkens every edge.
void DeepPacker::packLight(DeepRows rows, AVFrame& frame) const {
  constexpr int kPlaneOf[3] = {2, 0, 1};
  std::array<std::vector<float>, 3> colors;
  for (std::vector<float>& row : colors) row.resize(static_cast<std::size_t>(rows.width()));
  for (int y = 0; y < rows.height(); ++y) {
    const float* in = rows.row(y);
    for (std::size_t c = 0; c < 3; ++c) {
      for (std::size_t x = 0; x < colors[c].size(); ++x) colors[c][x] = in[4 * x + c];
    }
    light_.apply(colors[0].data(), colors[1].data(), colors[2].data(), rows.width());
    const auto rounded = [this](float value) { return options_.halves ? nearestHalf(value) : value; };
    float* const alpha = frame.data[3] == nullptr ? nullptr : planeRow<float>(frame, 3, y);
    for (std::size_t c = 0; c < 3; ++c) {
      float* const out = planeRow<float>(frame, kPlaneOf[c], y);
      for (std::size_t x = 0; x < colors[c].size(); ++x) {
        out[x] = rounded(alpha_ == AlphaMode::Premultiplied ? colors[c][x] * in[4 * x + 3] : colors[c][x]);
      }
    }
    for (int x = 0; alpha != nullptr && x < rows.width(); ++x) {
      alpha[x] = alpha_ == AlphaMode::None ? 1.0f : rounded(in[4 * x + 3]);
    }
  }
}

}  // namespace kalvetra
