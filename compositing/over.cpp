#include "compositing/over.h"

#include <algorithm>
#include <cstring>

#include "compositing/pixels.h"

namespace kalvetra {

namespace {

constexpr std::size_t kBlock = 1024;  // bytes

// Byte by byte, so that compilers find vectors in it.
void layOver(const unsigned char* keyed, const unsigned char* background, unsigned char* out, std::size_t bytes) {
  unsigned char alphas[kBlock];  // of each byte's pixel
  for (std::size_t i = 0; i < bytes; i += 4) std::memset(alphas + i, keyed[i], 4);
  for (std::size_t i = 0; i < bytes; ++i) {
    const unsigned int sum = keyed[i] * alphas[i] + background[i] * (255u - alphas[i]) + 127u;
    out[i] = static_cast<unsigned char>((sum + 1 + (sum >> 8)) >> 8);  // sum / 255, which holds below 65535
  }
  for (std::size_t i = 0; i < bytes; i += 4) out[i] = 255;
}

// Where alpha is 1 the very colours of `keyed`, where it is 0 those of the background.
void layOverFloats(const float* keyed, const float* background, float* out, int width) {
  for (int x = 0; x < width; ++x, keyed += 4, background += 4, out += 4) {
    const float alpha = keyed[3];
    for (int c = 0; c < 3; ++c) out[c] = keyed[c] * alpha + background[c] * (1.0f - alpha);
    out[3] = 1.0f;
  }
}

}  // namespace

void layOver(const Image& keyed, const Image& background, Image& out) {
  requireAlike(keyed, background);
  out.resize(keyed.width, keyed.height, keyed.format);
  if (keyed.isDeep()) {
    for (int y = 0; y < keyed.height; ++y)
      layOverFloats(keyed.floats(y), background.floats(y), out.floats(y), keyed.width);
    return;
  }
  for (std::size_t i = 0; i < keyed.bytes.size(); i += kBlock) {
    layOver(keyed.bytes.data() + i, background.bytes.data() + i, out.bytes.data() + i,
            std::min(kBlock, keyed.bytes.size() - i));
  }
}

}  // namespace kalvetra
