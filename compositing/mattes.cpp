#include "compositing/mattes.h"

#include <algorithm>

#include "compositing/pixels.h"

namespace kalvetra {

namespace {

void holdPixel(int level, const unsigned char* source, unsigned char* keyed) {
  const int before = std::min(keyed[0], source[0]);
  const int after = std::min<int>(before + partOf(255 - before, level), source[0]);
  keyed[0] = static_cast<unsigned char>(after);
  if (after == before) return;
  for (int c = 1; c < 4; ++c) {
    keyed[c] = static_cast<unsigned char>((before * keyed[c] + (after - before) * source[c] + after / 2) / after);
  }
}

}  // namespace

unsigned char matteLevel(const unsigned char* argb) {
  const int luma = (2126 * argb[1] + 7152 * argb[2] + 722 * argb[3] + 5000) / 10000;
  return partOf(luma, argb[0]);
}

void applyHoldout(const Image& holdout, const Image& source, Image& keyed) {
  requireSameSize(holdout, keyed);
  requireSameSize(source, keyed);
  for (std::size_t i = 0; i < keyed.bytes.size(); i += 4) {
    const int level = matteLevel(&holdout.bytes[i]);
    if (level != 0) holdPixel(level, &source.bytes[i], &keyed.bytes[i]);
  }
}

void applyGarbage(const Image& garbage, Image& keyed) {
  requireSameSize(garbage, keyed);
  for (std::size_t i = 0; i < keyed.bytes.size(); i += 4) {
    keyed.bytes[i] = partOf(keyed.bytes[i], 255 - matteLevel(&garbage.bytes[i]));
  }
}

}  // namespace kalvetra
