#include "deep/rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "deep/rows.cpp"
#include <hwy/foreach_target.h>

#include <cstdint>
#include <utility>

#include "cpu/dispatch.h"
#include "deep/host_pixels-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kalvetra::deep::HWY_NAMESPACE {

void loadLevels(const unsigned char* row, std::size_t pixels, PixelFormat format, bool premultiplied, Row out) {
  inFormat(format, [&](auto kFormat) HWY_ATTR {
    forHostPixels<kFormat()>(row, pixels, [&](const unsigned char* at, std::size_t x) HWY_ATTR {
      const Channels c = levelsOf<kFormat()>(straightPixels<kFormat()>(at, premultiplied));
      hn::Store(c.red, DF(), out.red + x);
      hn::Store(c.green, DF(), out.green + x);
      hn::Store(c.blue, DF(), out.blue + x);
      hn::Store(c.alpha, DF(), out.alpha + x);
    });
  });
}

}  // namespace kalvetra::deep::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kalvetra::deep {

HWY_EXPORT(loadLevels);

namespace {

constexpr std::size_t kAlignment = 64;  // bytes

}  // namespace

// A vector more than a row needs keeps planes of any width from all lying at the same places of a processor's cache.
RowBuffer::RowBuffer(int width, int rows)
    : stride_(room(width) + kWholeVectors),
      memory_(stride_ * 4 * static_cast<std::size_t>(rows) + kAlignment / sizeof(float)) {
  const std::size_t off = reinterpret_cast<std::uintptr_t>(memory_.data()) % kAlignment;
  start_ = (kAlignment - off) % kAlignment / sizeof(float);
}

Row RowBuffer::row(int i) {
  float* const red = memory_.data() + start_ + stride_ * 4 * static_cast<std::size_t>(i);
  return {red, red + stride_, red + stride_ * 2, red + stride_ * 3};
}

void loadRow(const ConstFrame& frame, int y, bool blueScreen, Row out) {
  if (blueScreen) std::swap(out.green, out.blue);
  KALVETRA_ONE_FORM(loadLevels)
  (frame.row(y), static_cast<std::size_t>(frame.width), frame.format, frame.premultiplied, out);
}

}  // namespace kalvetra::deep
#endif
