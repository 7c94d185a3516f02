#include "media/pixels/deep_converter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "media/pixels/light_curves.h"
#include "media/pixels/luma_weights.h"
#include "media/pixels/samples.h"
#include "media/pixels/simd/float_rows.h"
#include "media/pixels/yuv_converter.h"

namespace kalvetra {

namespace {

simd::FloatYuvMatrix matrixOf(LumaWeights weights, bool fullRange, int depth) {
  const double unit = std::ldexp(1.0, depth - 8), most = std::ldexp(1.0, depth) - 1;
  const double chromaSpan = fullRange ? most : 224 * unit, green = 1.0 - weights.red - weights.blue;
  const double toRed = 2 * (1 - weights.red) / chromaSpan, toBlue = 2 * (1 - weights.blue) / chromaSpan;
  return {.black = static_cast<float>(fullRange ? 0 : 16 * unit),
          .neutral = static_cast<float>(128 * unit),
          .lumaSpan = static_cast<float>(fullRange ? most : 219 * unit),
          .redV = static_cast<float>(toRed),
          .greenU = static_cast<float>(-toBlue * weights.blue / green),
          .greenV = static_cast<float>(-toRed * weights.red / green),
          .blueU = static_cast<float>(toBlue)};
}

bool isFloat(const AVPixFmtDescriptor& format) { return (format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0; }
bool hasAlpha(const AVPixFmtDescriptor& format) { return (format.flags & AV_PIX_FMT_FLAG_ALPHA) != 0; }

float halfValue(std::uint16_t bits) {
  const int exponent = bits >> 10 & 31, fraction = bits & 1023;
  const float size = exponent == 31  ? (fraction == 0 ? INFINITY : NAN)
                     : exponent == 0 ? static_cast<float>(fraction) * 0x1p-24f
                                     : std::ldexp(static_cast<float>(1024 + fraction), exponent - 25);
  return (bits & 0x8000) == 0 ? size : -size;
}

template <class Word>
Word readWord(const std::uint8_t* from, bool swapped) {
  std::uint8_t bytes[sizeof(Word)];
  std::copy_n(from, sizeof bytes, bytes);
  if (swapped) std::reverse(bytes, bytes + sizeof bytes);
  return std::bit_cast<Word>(bytes);
}

// Straight colours of premultiplied ones.
void divide(std::vector<float>& color, const std::vector<float>& alpha) {
  for (std::size_t i = 0; i < color.size(); ++i) {
    if (alpha[i] > 0.0f) color[i] /= alpha[i];
  }
}

void divideByAlpha(Image& image) {
  for (int y = 0; y < image.height; ++y) {
    float* pixel = image.floats(y);
    for (int x = 0; x < image.width; ++x, pixel += 4) {
      for (int c = 0; pixel[3] > 0.0f && c < 3; ++c) pixel[c] /= pixel[3];
    }
  }
}

}  // namespace

bool DeepConverter::handles(const AVPixFmtDescriptor& format) {
  constexpr auto kStrange = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BAYER;
  if ((format.flags & kStrange) != 0) return false;
  if (isFloat(format)) return format.comp[0].depth == 16 || format.comp[0].depth == 32;
  return YuvConverter::handles(format) || isReadExactly(format);
}

void DeepConverter::convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options,
                            Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  image.resize(frame.width, frame.height, PixelFormat::RgbaF32);
  for (std::vector<float>& row : rows_) row.resize(static_cast<std::size_t>(frame.width));
  samples_.resize(static_cast<std::size_t>(frame.width));
  if (isFloat(format)) {
    convertFloats(frame, options, image);
    return;
  }
  if (YuvConverter::handles(format)) {
    convertYuv(frame, color, options.fields, image);
  } else {
    convertRgb(frame, image);
  }
  if (options.premultiplied && hasAlpha(format)) divideByAlpha(image);
}

void DeepConverter::convertYuv(const AVFrame& frame, const ColorTags& color, bool fields, Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const simd::FloatYuvMatrix matrix = matrixOf(lumaWeights(color.matrix).value_or(kBt709Weights),
                                               color.range == AVCOL_RANGE_JPEG, format.comp[0].depth);
  std::vector<float>& alpha = rows_[3];
  yuv_.begin(frame, fields && format.log2_chroma_h > 0);
  std::fill(alpha.begin(), alpha.end(), 1.0f);
  for (int y = 0; y < frame.height; ++y) {
    yuv_.read(y);
    if (hasAlpha(format)) readWholeNumbers(frame, format, format.nb_components - 1, y, alpha);
    simd::yuvToFloats(matrix, yuv_.y(), yuv_.u(), yuv_.v(), alpha.data(), frame.width, image.floats(y));
  }
}

void DeepConverter::convertRgb(const AVFrame& frame, Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int components = hasAlpha(format) ? 4 : 3;
  std::fill(rows_[3].begin(), rows_[3].end(), 1.0f);
  for (int y = 0; y < frame.height; ++y) {
    for (int c = 0; c < components; ++c) readWholeNumbers(frame, format, c, y, rows_[static_cast<std::size_t>(c)]);
    simd::interleaveFloats(rows_[0].data(), rows_[1].data(), rows_[2].data(), rows_[3].data(), frame.width,
                           image.floats(y));
  }
}

// Premultiplied light is divided before it gets its curve: the other way round darkens every edge.
void DeepConverter::convertFloats(const AVFrame& frame, const ConversionOptions& options, Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int colors = format.nb_components - (hasAlpha(format) ? 1 : 0);
  const bool inLight = frame.color_trc == AVCOL_TRC_LINEAR || frame.color_trc == AVCOL_TRC_UNSPECIFIED;
  std::vector<float>& alpha = rows_[3];
  std::fill(alpha.begin(), alpha.end(), 1.0f);
  for (int y = 0; y < frame.height; ++y) {
    if (hasAlpha(format)) {
      readFloats(frame, format, colors, y, alpha);
      for (float& a : alpha) a = std::clamp(a, 0.0f, 1.0f);
    }
    for (int c = 0; c < colors; ++c) {
      std::vector<float>& row = rows_[static_cast<std::size_t>(c)];
      readFloats(frame, format, c, y, row);
      if (options.premultiplied && hasAlpha(format)) divide(row, alpha);
      if (inLight && !options.levels) encodeSrgb(row.data(), frame.width);
    }
    const auto row = [&](int c) { return rows_[static_cast<std::size_t>(std::min(c, colors - 1))].data(); };
    simd::interleaveFloats(row(0), row(1), row(2), alpha.data(), frame.width, image.floats(y));
  }
}

void DeepConverter::readWholeNumbers(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                                     std::vector<float>& out) {
  readSamples(frame, format, component, y, frame.width, samples_.data());
  const auto largest = static_cast<float>((1 << format.comp[component].depth) - 1);
  for (std::size_t i = 0; i < out.size(); ++i) out[i] = static_cast<float>(samples_[i]) / largest;
}

void DeepConverter::readFloats(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                               std::vector<float>& out) {
  const AVComponentDescriptor& c = format.comp[component];
  const bool swapped = ((format.flags & AV_PIX_FMT_FLAG_BE) != 0) != (std::endian::native == std::endian::big);
  const std::uint8_t* from = frame.data[c.plane] + std::ptrdiff_t{y} * frame.linesize[c.plane] + c.offset;
  for (float& value : out) {
    value = c.depth == 16 ? halfValue(readWord<std::uint16_t>(from, swapped)) : readWord<float>(from, swapped);
    from += c.step;
    if (std::isfinite(value)) continue;
    if (std::isnan(value)) {
      ++oddValues_.noNumbers;
      value = 0.0f;
    } else {
      ++oddValues_.infinities;
      value = std::copysign(kLargestHalf, value);
    }
  }
}

}  // namespace kalvetra
