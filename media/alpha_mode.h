// How a picture's colours stand to its alpha.
#pragma once

#include <string_view>

namespace kalvetra {

enum class AlphaMode {
  None,           // opaque pictures
  Straight,       // colours as they would be without transparency
  Premultiplied,  // colours times alpha: black where the picture is clear
};

// Movie files say how their alpha is meant under this key of their metadata. Containers may change the key's case.
inline constexpr char kAlphaTag[] = "kalvetra_alpha";

// The value under that key.
constexpr std::string_view alphaTag(AlphaMode alpha) {
  return alpha == AlphaMode::None ? "none" : alpha == AlphaMode::Straight ? "straight" : "premultiplied";
}

}  // namespace kalvetra
