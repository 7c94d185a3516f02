#include "media/pixels/float_rgb.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

namespace kalvetra {

namespace {

constexpr float kLinearEnd = 0.0031308f;  // below it the curve is a straight line
constexpr int kMantissaBits = 8;          // of the table's steps
constexpr int kShift = 23 - kMantissaBits;
constexpr std::uint32_t kFirstCell = std::bit_cast<std::uint32_t>(0x1p-9f) >> kShift;  // the power below kLinearEnd
constexpr std::uint32_t kCells = (std::bit_cast<std::uint32_t>(1.0f) >> kShift) - kFirstCell;

// The curve at the numbers whose mantissa ends after kMantissaBits; between them a straight line does.
struct Curve {
  std::array<float, kCells + 2> level;
  Curve() {
    for (std::uint32_t i = 0; i < level.size(); ++i) {
      const double light = std::bit_cast<float>((kFirstCell + i) << kShift);
      level[i] = static_cast<float>(255.0 * (1.055 * std::pow(light, 1 / 2.4) - 0.055));
    }
  }
};

float clampedLevel(float value) { return value > 0.0f ? std::min(value, 1.0f) * 255.0f : 0.0f; }  // NaN gives 0

float readFloat(const std::uint8_t* from) {
  float value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

}  // namespace

float srgbLevel(float light) {
  static const Curve curve;
  if (!(light > kLinearEnd)) return light > 0.0f ? 255.0f * 12.92f * light : 0.0f;
  const std::uint32_t bits = std::bit_cast<std::uint32_t>(std::min(light, 1.0f));
  const std::uint32_t cell = (bits >> kShift) - kFirstCell;
  const float part = static_cast<float>(bits & ((1u << kShift) - 1u)) / static_cast<float>(1u << kShift);
  return curve.level[cell] + part * (curve.level[cell + 1] - curve.level[cell]);
}

bool FloatRgbConverter::handles(const AVPixFmtDescriptor& format) {
  const bool bigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
  return (format.flags & AV_PIX_FMT_FLAG_FLOAT) != 0 && format.comp[0].depth == 32 &&
         bigEndian == (std::endian::native == std::endian::big);
}

void FloatRgbConverter::convert(const AVFrame& frame, const ConversionOptions& options, Image& image) {
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const bool hasAlpha = (d.flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
  const int colors = d.nb_components - (hasAlpha ? 1 : 0);
  const bool inLight = frame.color_trc == AVCOL_TRC_LINEAR || frame.color_trc == AVCOL_TRC_UNSPECIFIED;
  const auto encode = inLight && !options.levels ? srgbLevel : clampedLevel;
  image.resize(frame.width, frame.height);
  thresholds_.prepare(frame.width, options.dither);
  const auto sample = [&](int component, int x, int y) {
    const AVComponentDescriptor& c = d.comp[component];
    const std::ptrdiff_t at = std::ptrdiff_t{y} * frame.linesize[c.plane] + std::ptrdiff_t{c.step} * x + c.offset;
    return readFloat(frame.data[c.plane] + at);
  };
  for (int y = 0; y < frame.height; ++y) {
    const float* threshold = thresholds_.row(y);
    unsigned char* pixel = image.row(y);
    for (int x = 0; x < frame.width; ++x, pixel += 4) {
      const float alpha = hasAlpha ? clampedLevel(sample(colors, x, y)) : 255.0f;
      pixel[0] = static_cast<unsigned char>(alpha + 0.5f);
      for (int c = 0; c < 3; ++c) {
        const float level = encode(sample(std::min(c, colors - 1), x, y));
        pixel[1 + c] = static_cast<unsigned char>(std::min(level, 255.0f) + threshold[x]);
      }
    }
  }
}

}  // namespace kalvetra
