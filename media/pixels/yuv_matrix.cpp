#include "media/pixels/yuv_matrix.h"

#include <algorithm>
#include <cmath>

#include "cpu/vectors.h"
#include "media/pixels/simd/yuv_row.h"

namespace kalvetra {

YuvMatrix::YuvMatrix(LumaWeights weights, bool fullRange, int depth) : shift(depth + 9) {
  const int unit = 1 << (depth - 8);  // of one 8-bit level
  const double lumaSpan = fullRange ? (1 << depth) - 1 : 219 * unit;
  const double chromaSpan = fullRange ? (1 << depth) - 1 : 224 * unit;
  const double green = 1.0 - weights.red - weights.blue;
  const double one = 255.0 * (1 << shift) / 16;  // from 0..1 to a factor of samples that are 16 times too large
  const auto factor = [](double value) { return static_cast<std::int16_t>(std::lround(value)); };
  luma = factor(one / lumaSpan);
  redV = factor(one / chromaSpan * 2.0 * (1.0 - weights.red));
  blueU = factor(one / chromaSpan * 2.0 * (1.0 - weights.blue));
  greenU = factor(-one / chromaSpan * 2.0 * (1.0 - weights.blue) * weights.blue / green);
  greenV = factor(-one / chromaSpan * 2.0 * (1.0 - weights.red) * weights.red / green);

  const int black = fullRange ? 0 : 16 * unit * 16, neutral = 128 * unit * 16;
  const int common = (1 << (shift - 1)) - luma * black;
  redBias = common - redV * neutral;
  greenBias = common - (greenU + greenV) * neutral;
  blueBias = common - blueU * neutral;
}

void convertYuvRow(const YuvMatrix& m, const std::int16_t* y, const std::int16_t* u, const std::int16_t* v, int width,
                   unsigned char* argb) {
  const auto byte = [&m](int sum) { return static_cast<unsigned char>(std::clamp(sum >> m.shift, 0, 255)); };
  const int first = simd::enabled() ? simd::convertYuvRow(m, y, u, v, width, argb) : 0;
  for (int x = first; x < width; ++x) {
    unsigned char* pixel = argb + std::ptrdiff_t{4} * x;
    const int light = m.luma * y[x];
    pixel[0] = 255;
    pixel[1] = byte(light + m.redV * v[x] + m.redBias);
    pixel[2] = byte(light + m.greenU * u[x] + m.greenV * v[x] + m.greenBias);
    pixel[3] = byte(light + m.blueU * u[x] + m.blueBias);
  }
}

}  // namespace kalvetra
