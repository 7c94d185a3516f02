// The two orders of a pixel's bytes.
#pragma once

namespace kalvetra::simd {

enum class ByteOrder {
  Working,  // blue, green, red, alpha
  Host,     // alpha, red, green, blue
};

// Where a byte stands in a pixel read as a 32-bit number, in bits from the low end.
constexpr int blueBit(ByteOrder order) { return order == ByteOrder::Working ? 0 : 24; }
constexpr int greenBit(ByteOrder order) { return order == ByteOrder::Working ? 8 : 16; }
constexpr int redBit(ByteOrder order) { return order == ByteOrder::Working ? 16 : 8; }
constexpr int alphaBit(ByteOrder order) { return order == ByteOrder::Working ? 24 : 0; }

}  // namespace kalvetra::simd
