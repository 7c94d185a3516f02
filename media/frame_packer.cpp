#include "media/frame_packer.h"

#include <algorithm>

#include "media/luma_weights.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

template <class Sample>
Sample quantized(float v) {
  return static_cast<Sample>(v + 0.5f);
}

template <class Sample>
Sample* rowOf(AVFrame& frame, int plane, int y) {
  return reinterpret_cast<Sample*>(frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane]);
}

// `order` holds, for each byte of the packed pixel, the byte of host order that goes there.
void packBytes(const Image& image, AVFrame& frame, const int (&order)[4]) {
  for (int y = 0; y < image.height; ++y) {
    const unsigned char* in = image.row(y);
    auto* out = rowOf<unsigned char>(frame, 0, y);
    for (int x = 0; x < image.width; ++x, in += 4) {
      for (const int c : order) *out++ = in[c];
    }
  }
}

}  // namespace

FramePacker::FramePacker(AVPixelFormat format, AVColorSpace matrix) : format_(format) {
  const LumaWeights weights = lumaWeights(matrix).value_or(kBt709Weights);
  red_ = static_cast<float>(weights.red);
  blue_ = static_cast<float>(weights.blue);
}

FramePtr FramePacker::pack(const Image& image) const {
  FramePtr frame = makePicture(format_, image.width, image.height);
  switch (format_) {
    case AV_PIX_FMT_BGRA:
      packBytes(image, *frame, {3, 2, 1, 0});
      break;
    case AV_PIX_FMT_RGBA:
      packBytes(image, *frame, {1, 2, 3, 0});
      break;
    case AV_PIX_FMT_YUVA444P10:
      pack444(image, *frame);
      break;
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVA420P:
      pack420(image, *frame);
      break;
    default:
      throw UserError(std::string("pictures cannot be written as ") + av_get_pix_fmt_name(format_));
  }
  return frame;
}

FramePacker::Yuv FramePacker::toYuv(const unsigned char* argb) const {
  const float r = static_cast<float>(argb[1]) / 255.0f, g = static_cast<float>(argb[2]) / 255.0f,
              b = static_cast<float>(argb[3]) / 255.0f;
  const float y = red_ * r + (1.0f - red_ - blue_) * g + blue_ * b;
  return {y, (b - y) / (2.0f * (1.0f - blue_)), (r - y) / (2.0f * (1.0f - red_))};
}

void FramePacker::pack444(const Image& image, AVFrame& frame) const {
  using Sample = std::uint16_t;
  for (int row = 0; row < image.height; ++row) {
    const unsigned char* in = image.row(row);
    auto *y = rowOf<Sample>(frame, 0, row), *u = rowOf<Sample>(frame, 1, row), *v = rowOf<Sample>(frame, 2, row),
         *a = rowOf<Sample>(frame, 3, row);
    for (int x = 0; x < image.width; ++x, in += 4) {
      const Yuv color = toYuv(in);
      y[x] = quantized<Sample>(64.0f + 876.0f * color.y);
      u[x] = quantized<Sample>(512.0f + 896.0f * color.u);
      v[x] = quantized<Sample>(512.0f + 896.0f * color.v);
      a[x] = static_cast<Sample>((in[0] * 1023 + 127) / 255);
    }
  }
}

void FramePacker::pack420(const Image& image, AVFrame& frame) const {
  const int width = image.width, height = image.height;
  for (int row = 0; row < height; ++row) {
    const unsigned char* in = image.row(row);
    auto* y = rowOf<unsigned char>(frame, 0, row);
    for (int x = 0; x < width; ++x)
      y[x] = quantized<unsigned char>(16.0f + 219.0f * toYuv(in + std::ptrdiff_t{4} * x).y);
    if (format_ == AV_PIX_FMT_YUV420P) continue;
    auto* a = rowOf<unsigned char>(frame, 3, row);
    for (int x = 0; x < width; ++x) a[x] = in[std::ptrdiff_t{4} * x];
  }
  // Each chroma sample: columns 2x-1, 2x, 2x+1 weighted 1 2 1, over two rows; columns and rows outside repeat the
  // border.
  for (int row = 0; row < (height + 1) / 2; ++row) {
    auto *u = rowOf<unsigned char>(frame, 1, row), *v = rowOf<unsigned char>(frame, 2, row);
    for (int x = 0; x < (width + 1) / 2; ++x) {
      float sumU = 0.0f, sumV = 0.0f, sum = 0.0f;
      for (int dy = 0; dy < 2; ++dy) {
        const unsigned char* in = image.row(std::min(2 * row + dy, height - 1));
        for (int dx = -1; dx <= 1; ++dx) {
          const unsigned char* pixel = in + std::ptrdiff_t{4} * std::clamp(2 * x + dx, 0, width - 1);
          // 1 / 64 of a level keeps fully transparent places from dividing by zero.
          const float weight = (dx == 0 ? 2.0f : 1.0f) * (static_cast<float>(pixel[0]) + 1.0f / 64.0f);
          const Yuv color = toYuv(pixel);
          sumU += weight * color.u;
          sumV += weight * color.v;
          sum += weight;
        }
      }
      u[x] = quantized<unsigned char>(128.0f + 224.0f * sumU / sum);
      v[x] = quantized<unsigned char>(128.0f + 224.0f * sumV / sum);
    }
  }
}

}  // namespace kalvetra
