#include "hosts/fxplug/pixel_conversion.h"

namespace kalvetra {

namespace {

unsigned char toByte(float component) {
  const double level = static_cast<double>(component) * 255.0;
  if (!(level > 0.0)) return 0;
  if (level >= 255.0) return 255;
  return static_cast<unsigned char>(level);
}

float toFloat(unsigned char byte) { return static_cast<float>(byte) / 255.0f; }

}  // namespace

void floatsToBytes(const float* rgba, unsigned char* argb, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, rgba += 4, argb += 4) {
    argb[0] = toByte(rgba[3]);
    for (int c = 0; c < 3; ++c) argb[c + 1] = toByte(rgba[c]);
  }
}

void bytesToFloats(const unsigned char* argb, float* rgba, std::size_t pixels, bool premultiplied) {
  for (std::size_t i = 0; i < pixels; ++i, rgba += 4, argb += 4) {
    const float alpha = toFloat(argb[0]);
    for (int c = 0; c < 3; ++c) rgba[c] = premultiplied ? toFloat(argb[c + 1]) * alpha : toFloat(argb[c + 1]);
    rgba[3] = alpha;
  }
}

}  // namespace kalvetra
