// Conversions that are defined for every input: NaN gives 0, anything out of range saturates.
#pragma once

#include <cstddef>
#include <limits>

namespace kalvetra {

template <class Float>
int truncToInt(Float v) {
  constexpr int lowest = std::numeric_limits<int>::min();
  constexpr int highest = std::numeric_limits<int>::max();
  if (v >= static_cast<Float>(highest)) return highest;
  if (v <= static_cast<Float>(lowest)) return lowest;
  return v == v ? static_cast<int>(v) : 0;
}

// Truncated toward zero and clamped to 0..255.
inline unsigned char truncToByte(float v) {
  if (!(v > 0.0f)) return 0;
  if (v >= 255.0f) return 255;
  return static_cast<unsigned char>(v);
}

inline unsigned char clampToByte(int v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Bytes of `rows` rows of `stride` bytes; 0 when either is not positive.
inline std::size_t byteCount(int stride, int rows) {
  return stride < 1 || rows < 1 ? 0 : static_cast<std::size_t>(stride) * static_cast<std::size_t>(rows);
}

}  // namespace kalvetra
