#include "compositing/views.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace kalvetra {

namespace {

std::int64_t& kindOf(MatteStatus& status, int alpha) {
  if (alpha == 0) return status.clear;
  if (alpha <= kAlmostClearTo) return status.almostClear;
  if (alpha < kAlmostOpaqueFrom) return status.partial;
  return alpha < 255 ? status.almostOpaque : status.opaque;
}

// A pixel in host order for each level of alpha.
using LevelColors = std::array<std::array<unsigned char, 4>, 256>;

LevelColors greyLevels() {
  LevelColors colors;
  for (std::size_t level = 0; level < colors.size(); ++level) {
    const auto grey = static_cast<unsigned char>(level);
    colors[level] = {255, grey, grey, grey};
  }
  return colors;
}

LevelColors statusLevels() {
  LevelColors colors = greyLevels();
  MatteStatus kinds;
  for (std::size_t level = 0; level < colors.size(); ++level) {
    const std::int64_t* kind = &kindOf(kinds, static_cast<int>(level));
    if (kind == &kinds.almostClear) std::copy_n(kAlmostClearColor.begin(), 3, &colors[level][1]);
    if (kind == &kinds.almostOpaque) std::copy_n(kAlmostOpaqueColor.begin(), 3, &colors[level][1]);
  }
  return colors;
}

// `out`, of the same size, may be the same picture.
void paint(const Image& keyed, const LevelColors& colors, Image& out) {
  const unsigned char* in = keyed.argb.data();
  unsigned char* to = out.argb.data();
  for (std::size_t i = 0; i < keyed.argb.size(); i += 4) std::memcpy(to + i, colors[in[i]].data(), 4);
}

}  // namespace

void matteOf(const Image& keyed, Image& out) {
  static const LevelColors greys = greyLevels();
  out.resize(keyed.width, keyed.height);
  paint(keyed, greys, out);
}

MatteStatus& MatteStatus::operator+=(const MatteStatus& other) {
  clear += other.clear;
  almostClear += other.almostClear;
  partial += other.partial;
  almostOpaque += other.almostOpaque;
  opaque += other.opaque;
  return *this;
}

MatteStatus showStatus(const Image& keyed, Image& out) {
  static const LevelColors colors = statusLevels();
  out.resize(keyed.width, keyed.height);
  std::array<std::int64_t, 256> pixels{};
  for (std::size_t i = 0; i < keyed.argb.size(); i += 4) ++pixels[keyed.argb[i]];
  paint(keyed, colors, out);
  MatteStatus status;
  for (std::size_t level = 0; level < pixels.size(); ++level) kindOf(status, static_cast<int>(level)) += pixels[level];
  return status;
}

}  // namespace kalvetra
