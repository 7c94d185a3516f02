// The orders of a pixel's bytes.
#pragma once

#include <type_traits>

namespace kalvetra::simd {

// In the order of their addresses.
enum class ByteOrder {
  Bgra,  // blue, green, red, alpha: the working order
  Argb,  // alpha, red, green, blue: the host order
  Rgba,  // red, green, blue, alpha
};

// Where a byte stands in a pixel read as a 32-bit number, in bits from the low end.
constexpr int blueBit(ByteOrder order) { return order == ByteOrder::Bgra ? 0 : order == ByteOrder::Argb ? 24 : 16; }
constexpr int greenBit(ByteOrder order) { return order == ByteOrder::Argb ? 16 : 8; }
constexpr int redBit(ByteOrder order) { return order == ByteOrder::Bgra ? 16 : order == ByteOrder::Argb ? 8 : 0; }
constexpr int alphaBit(ByteOrder order) { return order == ByteOrder::Argb ? 0 : 24; }

// Calls work(constant) with `order` as a std::integral_constant, for kernels that are compiled for each order.
template <class Work>
void inOrder(ByteOrder order, const Work& work) {
  switch (order) {
    case ByteOrder::Bgra:
      return work(std::integral_constant<ByteOrder, ByteOrder::Bgra>());
    case ByteOrder::Argb:
      return work(std::integral_constant<ByteOrder, ByteOrder::Argb>());
    case ByteOrder::Rgba:
      return work(std::integral_constant<ByteOrder, ByteOrder::Rgba>());
  }
}

}  // namespace kalvetra::simd
