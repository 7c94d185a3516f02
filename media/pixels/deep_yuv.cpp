#include "media/pixels/deep_yuv.h"

#include <algorithm>
#include <cmath>

#include "media/pixels/luma_weights.h"

namespace kalvetra {

namespace {

// Samples in stored units to 0..255.
struct Matrix {
  Matrix(LumaWeights weights, bool fullRange, int depth) {
    const double unit = std::ldexp(1.0, depth - 8), most = std::ldexp(1.0, depth) - 1;
    const double lumaSpan = fullRange ? most : 219 * unit, chromaSpan = fullRange ? most : 224 * unit;
    const double green = 1.0 - weights.red - weights.blue;
    const double toRed = 255 / chromaSpan * 2 * (1 - weights.red), toBlue = 255 / chromaSpan * 2 * (1 - weights.blue);
    const double fromU = -toBlue * weights.blue / green, fromV = -toRed * weights.red / green;
    const double black = fullRange ? 0 : 255 / lumaSpan * 16 * unit, neutral = 128 * unit;
    luma = static_cast<float>(255 / lumaSpan);
    redV = static_cast<float>(toRed);
    blueU = static_cast<float>(toBlue);
    greenU = static_cast<float>(fromU);
    greenV = static_cast<float>(fromV);
    redBias = static_cast<float>(-black - toRed * neutral);
    greenBias = static_cast<float>(-black - (fromU + fromV) * neutral);
    blueBias = static_cast<float>(-black - toBlue * neutral);
  }
  float luma, redV, greenU, greenV, blueU;
  float redBias, greenBias, blueBias;
};

unsigned char cut(float level, float threshold) {
  return static_cast<unsigned char>(static_cast<int>(std::clamp(level, 0.0f, 255.0f) + threshold));
}

void convertRow(const Matrix& m, const float* y, const float* u, const float* v, const float* threshold, int width,
                unsigned char* argb) {
  for (int x = 0; x < width; ++x) {
    const float light = m.luma * y[x];
    unsigned char* pixel = argb + std::ptrdiff_t{4} * x;
    pixel[0] = 255;
    pixel[1] = cut(light + m.redV * v[x] + m.redBias, threshold[x]);
    pixel[2] = cut(light + (m.greenU * u[x] + m.greenV * v[x]) + m.greenBias, threshold[x]);
    pixel[3] = cut(light + m.blueU * u[x] + m.blueBias, threshold[x]);
  }
}

}  // namespace

void DeepYuvConverter::convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options,
                               Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const int depth = format.comp[0].depth;
  const Matrix matrix(lumaWeights(color.matrix).value_or(kBt709Weights), color.range == AVCOL_RANGE_JPEG, depth);
  thresholds_.prepare(frame.width, options.dither && depth > 8);
  rows_.begin(frame, options.fields);
  for (int y = 0; y < frame.height; ++y) {
    rows_.read(y);
    convertRow(matrix, rows_.y(), rows_.u(), rows_.v(), thresholds_.row(y), frame.width, image.row(y));
  }
}

}  // namespace kalvetra
