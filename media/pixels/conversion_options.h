// How decoded frames become 8-bit pictures, where there is a choice.
#pragma once

namespace kalvetra {

struct ConversionOptions {
  // Spread the step from deeper sources to 8 bits over a fixed pattern of 8 x 8 pixels, the same for every frame: a
  // flat colour keeps its mean. 8-bit sources and alpha stay as they are.
  bool dither = false;
  // The pictures consist of two fields: their chroma is interpolated within its own field.
  bool fields = false;
  // The samples are levels, as those of a matte, and no light: pictures in floating point get no transfer curve, 0..1
  // becomes 0..255 as it is.
  bool levels = false;
  // The colours are stored multiplied by their alpha, and are divided by it: rounded, at most 255, black where alpha is
  // 0.
  bool premultiplied = false;
};

}  // namespace kalvetra
