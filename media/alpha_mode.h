// How a picture's colours stand to its alpha.
#pragma once

namespace kalvetra {

enum class AlphaMode {
  None,           // opaque pictures
  Straight,       // colours as they would be without transparency
  Premultiplied,  // colours times alpha: black where the picture is clear
};

}  // namespace kalvetra
