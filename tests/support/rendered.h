// Packed frames through the render call.
#pragma once

#include "engine/render.h"
#include "sample/test_images.h"

namespace kalvetra::test {

// Of alpha, red, green, blue a pixel.
inline Bytes rendered(const KeySettings& settings, const Bytes& frame, int width, int height, Scan scan = Scan::Whole) {
  Bytes out(frame.size(), 77);
  render(settings, packedFrame(frame.data(), width, height), packedFrame(out.data(), width, height), {scan});
  return out;
}

}  // namespace kalvetra::test
