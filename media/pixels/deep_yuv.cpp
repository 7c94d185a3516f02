#include "media/pixels/deep_yuv.h"

#include <algorithm>
#include <cmath>

#include "media/pixels/chroma_place.h"
#include "media/pixels/luma_weights.h"
#include "media/pixels/samples.h"

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
  const auto width = static_cast<std::size_t>(frame.width);
  for (auto* line : {&samples_, &lower_}) line->resize(width);
  y_.resize(width);
  thresholds_.prepare(frame.width, options.dither && depth > 8);
  const bool hasChroma = format.nb_components >= 3;
  for (auto* line : {&u_, &v_}) line->assign(width + 3, std::ldexp(128.0f, depth - 8));
  for (int y = 0; y < frame.height; ++y) {
    readLuma(frame, format, y);
    if (hasChroma) readChroma(frame, format, 1, y, options.fields, u_);
    if (hasChroma) readChroma(frame, format, 2, y, options.fields, v_);
    convertRow(matrix, y_.data(), u_.data(), v_.data(), thresholds_.row(y), frame.width, image.row(y));
  }
}

void DeepYuvConverter::readLuma(const AVFrame& frame, const AVPixFmtDescriptor& format, int y) {
  readSamples(frame, format, 0, y, frame.width, samples_.data());
  std::copy_n(samples_.begin(), frame.width, y_.begin());
}

void DeepYuvConverter::readChroma(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                                  bool fields, std::vector<float>& out) {
  const int columns = AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
  const int rows = AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
  const ChromaRow place = chromaRowAt(frame.chroma_location, format.log2_chroma_h, rows, y, fields);
  between_.resize(static_cast<std::size_t>(columns) + 2);
  float* line = between_.data() + 1;
  readSamples(frame, format, component, place.upper, columns, samples_.data());
  if (place.weight > 0.0f) {
    readSamples(frame, format, component, place.lower, columns, lower_.data());
    const float lower = place.weight, upper = 1.0f - lower;
    for (int i = 0; i < columns; ++i) {
      const auto at = static_cast<std::size_t>(i);
      line[i] = upper * static_cast<float>(samples_[at]) + lower * static_cast<float>(lower_[at]);
    }
  } else {
    std::copy_n(samples_.begin(), columns, line);
  }
  line[-1] = line[0];
  line[columns] = line[columns - 1];
  spreadColumns(format, frame.chroma_location, columns, out);
}

// 1, 2 or 4 columns from each of chroma.
void DeepYuvConverter::spreadColumns(const AVPixFmtDescriptor& format, AVChromaLocation location, int columns,
                                     std::vector<float>& out) const {
  const float* line = between_.data() + 1;
  const int step = 1 << format.log2_chroma_w;
  const float first = firstChromaColumn(location, format.log2_chroma_w);
  for (int phase = 0; phase < step; ++phase) {
    const float place = (static_cast<float>(phase) - first) / static_cast<float>(step);
    const bool before = place < 0.0f;
    const float right = before ? place + 1.0f : place, left = 1.0f - right;
    const float* from = before ? line - 1 : line;
    float* to = out.data() + phase;
    for (int i = 0; i < columns; ++i) to[step * i] = left * from[i] + right * from[i + 1];
  }
}

}  // namespace kalvetra
