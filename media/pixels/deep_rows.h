// A deep picture's rows with their alpha as an output wants it.
#pragma once

#include <vector>

#include "media/alpha_mode.h"
#include "media/picture.h"

namespace kalvetra {

// As AlphaRows does for 8 bits: straight rows as they lie in the picture; opaque and premultiplied ones, and those with
// other colours where alpha is 0, are made when asked for. For one thread; the pictures must outlive it.
class DeepRows {
 public:
  // `hidden`: the colours of hiddenColorsOf, or null.
  DeepRows(const Image& image, AlphaMode alpha, const Image* hidden = nullptr);

  int width() const { return image_.width; }
  int height() const { return image_.height; }
  AlphaMode alpha() const { return alpha_; }
  // Red, green, blue, alpha, pixel by pixel; valid until a row whose number differs by a multiple of 4 is asked for.
  const float* row(int y);

 private:
  std::size_t rowFloats() const { return std::size_t{4} * static_cast<std::size_t>(image_.width); }

  const Image& image_;
  AlphaMode alpha_;
  const Image* hidden_;
  std::vector<float> made_;
};

}  // namespace kalvetra
