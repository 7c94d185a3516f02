// How decoded frames become pictures, where there is a choice.
#pragma once

namespace kalvetra {

struct ConversionOptions {
  // Pictures of full depth, PixelFormat::RgbaF32, in place of 8 bits.
  bool deep = false;
  // Spread the step from deeper sources to 8 bits over a fixed pattern of 8 x 8 pixels, the same for every frame: a
  // flat colour keeps its mean. 8-bit sources, alpha and deep pictures stay as they are.
  bool dither = false;
  // The pictures consist of two fields: their chroma is interpolated within its own field.
  bool fields = false;
  // The samples are levels, as those of a matte, and no light: pictures in floating point get no transfer curve.
  bool levels = false;
  // The colours are stored multiplied by their alpha, and are divided by it. In 8 bits: rounded, at most 255, black
  // where alpha is 0. Deep: light before it gets its curve; colours under alpha 0 stay, as compositors leave them.
  bool premultiplied = false;
};

}  // namespace kalvetra
