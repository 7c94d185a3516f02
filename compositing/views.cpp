#include "compositing/views.h"

#include <algorithm>

namespace kalvetra {

namespace {

std::int64_t& kindOf(MatteStatus& status, int alpha) {
  if (alpha == 0) return status.clear;
  if (alpha <= kAlmostClearTo) return status.almostClear;
  if (alpha < kAlmostOpaqueFrom) return status.partial;
  return alpha < 255 ? status.almostOpaque : status.opaque;
}

}  // namespace

void matteOf(const Image& keyed, Image& out) {
  out.resize(keyed.width, keyed.height);
  for (std::size_t i = 0; i < keyed.argb.size(); i += 4) {
    const unsigned char alpha = keyed.argb[i];  // `out` may be the same picture
    out.argb[i] = 255;
    std::fill_n(&out.argb[i + 1], 3, alpha);
  }
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
  matteOf(keyed, out);
  MatteStatus status;
  for (std::size_t i = 0; i < out.argb.size(); i += 4) {
    std::int64_t& kind = kindOf(status, out.argb[i + 1]);
    ++kind;
    if (&kind == &status.almostClear) std::copy_n(kAlmostClearColor.begin(), 3, &out.argb[i + 1]);
    if (&kind == &status.almostOpaque) std::copy_n(kAlmostOpaqueColor.begin(), 3, &out.argb[i + 1]);
  }
  return status;
}

}  // namespace kalvetra
