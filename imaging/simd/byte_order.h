// The orders of a pixel's bytes.
#pragma once

#include <type_traits>

namespace kalvetra::simd {

// In the order of their addresses. The last three are the first three for a screen of blue, which is keyed as if blue
// and green had changed places: what stands for blue lies where green does.
enum class ByteOrder {
  Bgra,  // blue, green, red, alpha: the working order
  Argb,  // alpha, red, green, blue: the host order
  Rgba,  // red, green, blue, alpha
  Gbra,
  Arbg,
  Rbga,
};

constexpr ByteOrder forBlueScreen(ByteOrder order) { return static_cast<ByteOrder>((static_cast<int>(order) + 3) % 6); }

// Where a byte stands in a pixel read as a 32-bit number, in bits from the low end.
constexpr int alphaBit(ByteOrder order) { return order == ByteOrder::Argb || order == ByteOrder::Arbg ? 0 : 24; }
constexpr int greenBit(ByteOrder order) {
  constexpr int bits[]{8, 16, 8, 0, 24, 16};
  return bits[static_cast<int>(order)];
}
constexpr int blueBit(ByteOrder order) { return greenBit(forBlueScreen(order)); }
constexpr int redBit(ByteOrder order) {
  return alphaBit(order) == 0 ? 8 : order == ByteOrder::Bgra || order == ByteOrder::Gbra ? 16 : 0;
}

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
    case ByteOrder::Gbra:
      return work(std::integral_constant<ByteOrder, ByteOrder::Gbra>());
    case ByteOrder::Arbg:
      return work(std::integral_constant<ByteOrder, ByteOrder::Arbg>());
    case ByteOrder::Rbga:
      return work(std::integral_constant<ByteOrder, ByteOrder::Rbga>());
  }
}

}  // namespace kalvetra::simd
