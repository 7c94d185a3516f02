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

void holdPixel(float level, const float* source, float* keyed) {
  const float before = std::min(keyed[3], source[3]);
  const float after = std::min(before + (1.0f - before) * level, source[3]);
  keyed[3] = after;
  if (after == before) return;
  for (int c = 0; c < 3; ++c) keyed[c] = (before * keyed[c] + (after - before) * source[c]) / after;
}

// Calls `change` for each pixel of deep pictures: of the matte, of `source` and of the picture to be changed.
template <class Change>
void forFloats(const Image& matte, const Image& source, Image& keyed, Change change) {
  for (int y = 0; y < keyed.height; ++y) {
    const float *level = matte.floats(y), *from = source.floats(y);
    float* pixel = keyed.floats(y);
    for (int x = 0; x < keyed.width; ++x, level += 4, from += 4, pixel += 4) change(matteLevel(level), from, pixel);
  }
}

}  // namespace

float matteLevel(const float* rgba) {
  const float luma = 0.2126f * rgba[0] + 0.7152f * rgba[1] + 0.0722f * rgba[2];
  const bool grey = rgba[0] == rgba[1] && rgba[1] == rgba[2];
  const float level = (grey ? rgba[0] : luma) * rgba[3];
  return level > 0.0f ? std::min(level, 1.0f) : 0.0f;
}

unsigned char matteLevel(const unsigned char* argb) {
  const int luma = (2126 * argb[1] + 7152 * argb[2] + 722 * argb[3] + 5000) / 10000;
  return partOf(luma, argb[0]);
}

void applyHoldout(const Image& holdout, const Image& source, Image& keyed) {
  requireAlike(holdout, keyed);
  requireAlike(source, keyed);
  if (keyed.isDeep()) {
    return forFloats(holdout, source, keyed, [](float level, const float* from, float* pixel) {
      if (level != 0.0f) holdPixel(level, from, pixel);
    });
  }
  for (std::size_t i = 0; i < keyed.bytes.size(); i += 4) {
    const int level = matteLevel(&holdout.bytes[i]);
    if (level != 0) holdPixel(level, &source.bytes[i], &keyed.bytes[i]);
  }
}

void applyGarbage(const Image& garbage, Image& keyed) {
  requireAlike(garbage, keyed);
  if (keyed.isDeep()) {
    return forFloats(garbage, keyed, keyed, [](float level, const float*, float* pixel) { pixel[3] *= 1.0f - level; });
  }
  for (std::size_t i = 0; i < keyed.bytes.size(); i += 4) {
    keyed.bytes[i] = partOf(keyed.bytes[i], 255 - matteLevel(&garbage.bytes[i]));
  }
}

}  // namespace kalvetra
