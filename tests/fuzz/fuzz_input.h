// The bytes of one fuzz input, taken apart into arguments. Where they are used up, everything is 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "sample/test_images.h"

namespace kalvetra::test {

class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

  std::size_t left() const { return left_; }
  int byte() { return take<std::uint8_t>(); }
  bool flag() { return (byte() & 1) != 0; }

  // Any value of the type, not-a-number included.
  template <class Value>
  Value any() {
    return take<Value>();
  }

  // lowest..highest, from one byte where that reaches.
  int within(int lowest, int highest) {
    const std::uint32_t range = static_cast<std::uint32_t>(highest) - static_cast<std::uint32_t>(lowest) + 1;
    const std::uint32_t chosen = range > 256 ? take<std::uint32_t>() : take<std::uint8_t>();
    return lowest + static_cast<int>(range == 0 ? 0 : chosen % range);
  }

  // Mostly lowest..highest, sometimes an end of it or any number at all.
  int nearly(int lowest, int highest) {
    const int kind = byte();
    if (kind == 255) return any<std::int32_t>();
    if (kind == 254) return any<std::int16_t>();
    if (kind == 253) return lowest;
    if (kind == 252) return highest;
    return lowest + static_cast<int>(static_cast<unsigned>(kind) % static_cast<unsigned>(highest - lowest + 1));
  }

  // Of a picture; mostly small, now and then empty, or with a side beyond the 320 pixels that a frame's small copy has.
  struct Size {
    int width;
    int height;
    std::size_t pixels() const {
      return width < 1 || height < 1 ? 0 : static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
  };
  Size size() {
    Size size{nearly(-1, 40), nearly(-1, 40)};
    if (size.width > 700) size.width = 41 + size.width % 660;
    if (size.height > 700) size.height = 41 + size.height % 660;
    if (size.width > 40 && size.height > 6) size.height %= 7;
    return size;
  }

  std::string rest() {
    std::string text(reinterpret_cast<const char*>(next_), left_);
    next_ += left_;
    left_ = 0;
    return text;
  }

  // So many bytes: noise of few or many levels round a level, or what is left of the input over and over.
  Bytes picture(std::size_t bytes) {
    const int kind = byte(), level = byte();
    Random random(static_cast<std::uint64_t>(byte()));
    Bytes image(bytes);
    for (std::size_t i = 0; i < bytes; ++i) {
      const int spread = kind & 63;
      const int noise = random.within(-spread, spread);
      const int own = kind >= 64 && left_ > 0 ? next_[i % left_] : level;
      image[i] = static_cast<unsigned char>(std::clamp(kind % 2 != 0 ? own : own + noise, 0, 255));
    }
    return image;
  }

 private:
  template <class Value>
  Value take() {
    Value value{};
    const std::size_t bytes = std::min(sizeof value, left_);
    if (bytes > 0) std::memcpy(&value, next_, bytes);  // an empty input has no address
    next_ += bytes;
    left_ -= bytes;
    return value;
  }

  const std::uint8_t* next_;
  std::size_t left_;
};

}  // namespace kalvetra::test
