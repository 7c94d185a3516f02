#include "media/pixels/picture_depth.h"

#include <algorithm>

#include "media/pixels/dither.h"

namespace kalvetra {

namespace {

// What is no number gives 0.
float levelOf(float value) { return value > 0.0f ? std::min(255.0f * value, 255.0f) : 0.0f; }

}  // namespace

Image widened(const Image& bytes) {
  Image deep(bytes.width, bytes.height, PixelFormat::RgbaF32);
  for (int y = 0; y < bytes.height; ++y) {
    const unsigned char* in = bytes.row(y);
    float* out = deep.floats(y);
    for (int x = 0; x < bytes.width; ++x, in += 4, out += 4) {
      for (int c = 0; c < 4; ++c) out[c] = static_cast<float>(in[(c + 1) % 4]) / 255.0f;
    }
  }
  return deep;
}

Image narrowed(const Image& deep, bool dither) {
  Image bytes(deep.width, deep.height);
  Thresholds thresholds;
  thresholds.prepare(deep.width, dither);
  for (int y = 0; y < deep.height; ++y) {
    const float *in = deep.floats(y), *threshold = thresholds.row(y);
    unsigned char* out = bytes.row(y);
    for (int x = 0; x < deep.width; ++x, in += 4, out += 4) {
      out[0] = static_cast<unsigned char>(levelOf(in[3]) + 0.5f);
      for (int c = 0; c < 3; ++c) out[1 + c] = static_cast<unsigned char>(levelOf(in[c]) + threshold[x]);
    }
  }
  return bytes;
}

}  // namespace kalvetra
