#include "compositing/over.h"

#include "compositing/pixels.h"

namespace kalvetra {

void layOver(const Image& keyed, const Image& background, Image& out) {
  requireSameSize(keyed, background);
  out.resize(keyed.width, keyed.height);
  for (std::size_t i = 0; i < keyed.argb.size(); i += 4) {
    const int alpha = keyed.argb[i];
    for (std::size_t c = i + 1; c < i + 4; ++c) {
      const int sum = keyed.argb[c] * alpha + background.argb[c] * (255 - alpha);
      out.argb[c] = static_cast<unsigned char>((sum + 127) / 255);
    }
    out.argb[i] = 255;
  }
}

}  // namespace kalvetra
