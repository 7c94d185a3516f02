#include "media/pixels/yuv_packer.h"

#include <algorithm>

#include "media/pixels/luma_weights.h"
#include "media/pixels/simd/float_rows.h"
#include "media/plane_rows.h"

namespace kalvetra {

namespace {

template <class Pixel>
const Pixel* pixelAt(const Pixel* row, int x) {
  return row + std::ptrdiff_t{4} * x;
}

// In levels of 255; 1 / 64 of one keeps fully transparent places from dividing by zero.
float weightOf(const unsigned char* argb) { return static_cast<float>(argb[0]) + 1.0f / 64.0f; }

// Size of an 8-bit level in samples of that type, which hold 8 or 10 bits.
template <class Sample>
constexpr float kLevel = sizeof(Sample) == 1 ? 1.0f : 4.0f;
template <class Sample>
constexpr float kMost = sizeof(Sample) == 1 ? 255.0f : 1023.0f;

// Deep colours may lie outside of what the samples hold.
template <class Sample>
Sample quantized(float v) {
  return static_cast<Sample>(std::clamp(v, 0.0f, kMost<Sample>) + 0.5f);
}

// The two rows of the picture that chroma row `row` lies between; rows outside repeat the border.
std::pair<int, int> rowsOfChroma(int row, int height, bool fields) {
  if (!fields) return {2 * row, std::min(2 * row + 1, height - 1)};
  const int field = row % 2, first = 2 * (row - field) + field;
  const int last = height - 1 - (height - 1 - field) % 2;  // of that field
  return {std::min(first, last), std::min(first + 2, last)};
}

}  // namespace

YuvPacker::YuvPacker(AVColorSpace matrix) {
  const LumaWeights weights = lumaWeights(matrix).value_or(kBt709Weights);
  red_ = static_cast<float>(weights.red);
  blue_ = static_cast<float>(weights.blue);
}

YuvPacker::Yuv YuvPacker::toYuv(float r, float g, float b) const {
  const float y = red_ * r + (1.0f - red_ - blue_) * g + blue_ * b;
  return {y, (b - y) / (2.0f * (1.0f - blue_)), (r - y) / (2.0f * (1.0f - red_))};
}

YuvPacker::Yuv YuvPacker::toYuv(const unsigned char* argb) const {
  return toYuv(static_cast<float>(argb[1]) / 255.0f, static_cast<float>(argb[2]) / 255.0f,
               static_cast<float>(argb[3]) / 255.0f);
}

YuvPacker::Yuv YuvPacker::toYuv(const float* rgba) const { return toYuv(rgba[0], rgba[1], rgba[2]); }

void YuvPacker::pack444(AlphaRows& rows, AVFrame& frame) const {
  const int width = rows.width(), height = rows.height();  // bytes that are written might alias them
  using Sample = std::uint16_t;
  for (int row = 0; row < height; ++row) {
    const unsigned char* in = rows.row(row);
    auto *y = planeRow<Sample>(frame, 0, row), *u = planeRow<Sample>(frame, 1, row),
         *v = planeRow<Sample>(frame, 2, row);
    for (int x = 0; x < width; ++x) {
      const Yuv color = toYuv(pixelAt(in, x));
      y[x] = quantized<Sample>(64.0f + 876.0f * color.y);
      u[x] = quantized<Sample>(512.0f + 896.0f * color.u);
      v[x] = quantized<Sample>(512.0f + 896.0f * color.v);
    }
    if (frame.format != AV_PIX_FMT_YUVA444P10) continue;
    auto* a = planeRow<Sample>(frame, 3, row);
    for (int x = 0; x < width; ++x) a[x] = static_cast<Sample>((pixelAt(in, x)[0] * 1023 + 127) / 255);
  }
}

void YuvPacker::pack444(DeepRows& rows, AVFrame& frame) const {
  for (int row = 0; row < rows.height(); ++row) {
    const auto plane = [&](int i) {
      return frame.data[i] == nullptr ? nullptr : planeRow<std::uint16_t>(frame, i, row);
    };
    simd::floatsToTenBits(rows.row(row), red_, blue_, rows.width(), {plane(0), plane(1), plane(2), plane(3)});
  }
}

void YuvPacker::pack420(AlphaRows& rows, AVFrame& frame, bool fields) const {
  if (frame.format == AV_PIX_FMT_YUV420P10) {
    packLuma<std::uint16_t>(rows, frame);
    packChroma<std::uint16_t, false>(rows, frame, fields);
  } else if (rows.alpha() == AlphaMode::Straight) {
    packLuma<std::uint8_t>(rows, frame);
    packChroma<std::uint8_t, true>(rows, frame, fields);
  } else {
    packLuma<std::uint8_t>(rows, frame);
    packChroma<std::uint8_t, false>(rows, frame, fields);
  }
}

void YuvPacker::pack420(DeepRows& rows, AVFrame& frame, bool fields) const {
  packLuma<std::uint16_t>(rows, frame);
  packChroma<std::uint16_t, false>(rows, frame, fields);
}

template <class Sample, class Rows>
void YuvPacker::packLuma(Rows& rows, AVFrame& frame) const {
  const int width = rows.width(), height = rows.height();  // bytes that are written might alias them
  for (int row = 0; row < height; ++row) {
    const auto* in = rows.row(row);
    auto* y = planeRow<Sample>(frame, 0, row);
    for (int x = 0; x < width; ++x) {
      y[x] = quantized<Sample>(kLevel<Sample> * (16.0f + 219.0f * toYuv(pixelAt(in, x)).y));
    }
    if constexpr (sizeof(Sample) == 1) {
      if (frame.format != AV_PIX_FMT_YUVA420P) continue;
      auto* a = planeRow<Sample>(frame, 3, row);
      for (int x = 0; x < width; ++x) a[x] = pixelAt(in, x)[0];
    }
  }
}

template <class Sample, bool kWeighted, class Rows>
void YuvPacker::packChroma(Rows& rows, AVFrame& frame, bool fields) const {
  const int width = rows.width(), height = rows.height();  // bytes that are written might alias them
  for (int row = 0; row < (height + 1) / 2; ++row) {
    auto *u = planeRow<Sample>(frame, 1, row), *v = planeRow<Sample>(frame, 2, row);
    const auto [upper, lower] = rowsOfChroma(row, height, fields);
    const auto* const upperRow = rows.row(upper);
    const decltype(upperRow) pair[2]{upperRow, rows.row(lower)};
    for (int x = 0; x < (width + 1) / 2; ++x) {
      const Yuv color = averageAt<kWeighted>(pair, x, width);
      u[x] = quantized<Sample>(kLevel<Sample> * (128.0f + 224.0f * color.u));
      v[x] = quantized<Sample>(kLevel<Sample> * (128.0f + 224.0f * color.v));
    }
  }
}

// Chroma sample x: columns 2x-1, 2x, 2x+1 weighted 1 2 1, over two rows; columns outside repeat the border. Only the
// chroma of the answer counts.
template <bool kWeighted, class Pixel>
YuvPacker::Yuv YuvPacker::averageAt(const Pixel* const (&rows)[2], int x, int width) const {
  float sumU = 0.0f, sumV = 0.0f, sum = 0.0f;
  for (const Pixel* row : rows) {
    for (int dx = -1; dx <= 1; ++dx) {
      const Pixel* pixel = pixelAt(row, std::clamp(2 * x + dx, 0, width - 1));
      float share = 1.0f;
      if constexpr (kWeighted) share = weightOf(pixel);
      const float weight = (dx == 0 ? 2.0f : 1.0f) * share;
      const Yuv color = toYuv(pixel);
      sumU += weight * color.u;
      sumV += weight * color.v;
      sum += weight;
    }
  }
  return {0.0f, sumU / sum, sumV / sum};
}

}  // namespace kalvetra
