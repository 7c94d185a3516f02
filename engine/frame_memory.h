// Whether two frames lie in the same memory.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "engine/frame.h"

namespace kalvetra {

// The bytes that a frame's rows lie between.
struct Extent {
  explicit Extent(const ConstFrame& frame)
      : first(std::min(addressOf(frame, 0), addressOf(frame, frame.height - 1))),
        end(std::max(addressOf(frame, 0), addressOf(frame, frame.height - 1)) +
            static_cast<std::uintptr_t>(frame.width) * static_cast<std::uintptr_t>(pixelBytes(frame.format))) {}
  static std::uintptr_t addressOf(const ConstFrame& frame, int y) {
    return reinterpret_cast<std::uintptr_t>(frame.row(y));
  }
  std::uintptr_t first, end;
};

inline bool shareMemory(const ConstFrame& a, const ConstFrame& b) {
  const Extent first(a), second(b);
  return first.first < second.end && second.first < first.end;
}

}  // namespace kalvetra
