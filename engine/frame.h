// One picture in memory, as every way to a key takes and gives it.
#pragma once

#include <cstddef>

namespace kalvetra {

// The channels of a pixel, in the order of their addresses. Alpha is straight unless a frame says otherwise.
enum class PixelFormat {
  // A byte each.
  Argb8,  // alpha, red, green, blue: the host order of the render entry
  Bgra8,  // blue, green, red, alpha: the passes' working order
  Rgba8,  // red, green, blue, alpha
  // A float each, of the machine's byte order, in rows that begin at multiples of 4 bytes. Colours are code values over
  // 255: 0 black, 1 nominal white, below and above allowed; alpha 0..1. For deep/ alone.
  RgbaF32,  // red, green, blue, alpha
};

inline constexpr int kPixelBytes = 4;  // of the formats of a byte each

constexpr int pixelBytes(PixelFormat format) { return format == PixelFormat::RgbaF32 ? 16 : kPixelBytes; }

// Owns nothing: whoever owns the pixels keeps them while a frame is in use. A frame without pixels (width or height
// below 1) may have any address.
template <class Byte>
struct BasicFrame {
  Byte* data;             // of the first row's first pixel
  std::ptrdiff_t stride;  // bytes from a row to the next; negative where the rows lie upwards in memory
  int width, height;      // pixels
  PixelFormat format = PixelFormat::Argb8;
  bool premultiplied = false;  // colours are stored multiplied by alpha

  Byte* row(int y) const { return data + stride * y; }
  operator BasicFrame<const Byte>() const { return {data, stride, width, height, format, premultiplied}; }
};

using Frame = BasicFrame<unsigned char>;
using ConstFrame = BasicFrame<const unsigned char>;

// Rows one after the other without a gap.
template <class Byte>
BasicFrame<Byte> packedFrame(Byte* data, int width, int height, PixelFormat format = PixelFormat::Argb8) {
  return {data, std::ptrdiff_t{pixelBytes(format)} * width, width, height, format};
}

// Every second row: the field that begins with row `first`, 0 or 1, which must lie in the frame.
template <class Byte>
BasicFrame<Byte> fieldOf(BasicFrame<Byte> frame, int first) {
  frame.data = frame.row(first);
  frame.stride *= 2;
  frame.height = (frame.height - first + 1) / 2;
  return frame;
}

}  // namespace kalvetra
