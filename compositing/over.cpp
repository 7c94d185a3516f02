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

}  // namespace

void layOver(const Image& keyed, const Image& background, Image& out) {
  requireSameSize(keyed, background);
  out.resize(keyed.width, keyed.height);
  for (std::size_t i = 0; i < keyed.bytes.size(); i += kBlock) {
    layOver(keyed.bytes.data() + i, background.bytes.data() + i, out.bytes.data() + i,
            std::min(kBlock, keyed.bytes.size() - i));
  }
}

}  // namespace kalvetra
