#include "media/pixels/alpha_rows.h"

#include <algorithm>

namespace kalvetra {

namespace {

constexpr std::size_t kKept = 4;  // two neighbours of an interlaced field lie two rows apart

void opaqueRow(const unsigned char* in, int width, unsigned char* out) {
  for (int x = 0; x < width; ++x, in += 4, out += 4) {
    out[0] = 255;
    std::copy_n(in + 1, 3, out + 1);
  }
}

void premultiplyRow(const unsigned char* in, int width, unsigned char* out) {
  for (int x = 0; x < width; ++x, in += 4, out += 4) {
    out[0] = in[0];
    for (int c = 1; c < 4; ++c) out[c] = static_cast<unsigned char>((in[c] * in[0] + 127) / 255);
  }
}

}  // namespace

AlphaRows::AlphaRows(const Image& image, AlphaMode alpha) : image_(image), alpha_(alpha) {
  if (alpha != AlphaMode::Straight) made_.resize(kKept * rowBytes());
}

const unsigned char* AlphaRows::row(int y) {
  const unsigned char* in = image_.row(y);
  if (alpha_ == AlphaMode::Straight) return in;
  unsigned char* out = made_.data() + static_cast<std::size_t>(y) % kKept * rowBytes();
  alpha_ == AlphaMode::None ? opaqueRow(in, width(), out) : premultiplyRow(in, width(), out);
  return out;
}

}  // namespace kalvetra
