// What the media layer hands to the keyer and takes back, and what it knows of a clip's pictures.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "engine/frame.h"
#include "media/ffmpeg.h"

namespace kalvetra {

// A picture in rows without gaps, alpha straight: 8 bits in the engine's host order (alpha, red, green, blue), or in
// floats (PixelFormat::RgbaF32), which is called deep.
struct Image {
  int width = 0;
  int height = 0;
  PixelFormat format = PixelFormat::Argb8;
  std::vector<unsigned char> bytes;

  Image() = default;
  Image(int w, int h, PixelFormat f = PixelFormat::Argb8) { resize(w, h, f); }
  // Keeps its memory where that suffices. What the pixels hold afterwards does not matter.
  void resize(int w, int h, PixelFormat f = PixelFormat::Argb8) {
    width = w;
    height = h;
    format = f;
    bytes.resize(static_cast<std::size_t>(pixelBytes(f)) * static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
  }
  bool isDeep() const { return format == PixelFormat::RgbaF32; }
  unsigned char* row(int y) { return bytes.data() + rowBytes() * y; }
  const unsigned char* row(int y) const { return bytes.data() + rowBytes() * y; }
  // Of a deep picture: red, green, blue, alpha, pixel by pixel.
  float* floats(int y) { return reinterpret_cast<float*>(row(y)); }
  const float* floats(int y) const { return reinterpret_cast<const float*>(row(y)); }
  Frame frame() { return packedFrame(bytes.data(), width, height, format); }
  ConstFrame frame() const { return packedFrame(bytes.data(), width, height, format); }

 private:
  std::ptrdiff_t rowBytes() const { return std::ptrdiff_t{pixelBytes(format)} * width; }
};

// The clockwise turn, in quarter turns 0..3, that shows a picture upright; of the same format.
Image turned(const Image& image, int quarterTurns);

// How numbers become colours. Never unspecified once it is resolved.
struct ColorTags {
  AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
  AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
  AVColorPrimaries primaries = AVCOL_PRI_UNSPECIFIED;
  AVColorTransferCharacteristic transfer = AVCOL_TRC_UNSPECIFIED;
};

// Which of the two fields of a frame was taken first. The top field holds rows 0, 2, 4 ...
enum class FieldOrder {
  Progressive,  // no fields
  TopFirst,
  BottomFirst,
  Unknown,  // neither the file nor its first picture says
};

inline bool isInterlaced(FieldOrder order) { return order == FieldOrder::TopFirst || order == FieldOrder::BottomFirst; }

using DisplayMatrix = std::array<std::int32_t, 9>;  // as FFmpeg has it, row by row

// Everything about a clip's pictures that a copy of it keeps.
struct PictureFormat {
  int width = 0;  // as stored, before any rotation
  int height = 0;
  AVRational timeBase{1, 25};
  AVRational frameRate{25, 1};   // nominal; timestamps rule
  AVRational pixelAspect{1, 1};  // width : height of a pixel
  ColorTags color;
  FieldOrder fieldOrder = FieldOrder::Unknown;
  std::optional<DisplayMatrix> displayMatrix;  // of the container or the first picture, where one has it

  // Quarter turns clockwise that the display matrix asks for.
  int quarterTurns() const;
  // The display matrix asks for a mirror, which no number of turns does.
  bool isMirrored() const;
};

// From FFmpeg's bytes; nothing from null.
std::optional<DisplayMatrix> displayMatrixFrom(const std::uint8_t* bytes);

}  // namespace kalvetra
