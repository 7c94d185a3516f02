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

// The engine's host order: 4 bytes a pixel (alpha, red, green, blue), rows packed, straight alpha.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<unsigned char> bytes;

  Image() = default;
  Image(int w, int h) { resize(w, h); }
  // Keeps its memory where that suffices. What the pixels hold afterwards does not matter.
  void resize(int w, int h) {
    width = w;
    height = h;
    bytes.resize(std::size_t{4} * static_cast<std::size_t>(w) * static_cast<std::size_t>(h));
  }
  unsigned char* row(int y) { return bytes.data() + std::ptrdiff_t{4} * width * y; }
  const unsigned char* row(int y) const { return bytes.data() + std::ptrdiff_t{4} * width * y; }
  Frame frame() { return packedFrame(bytes.data(), width, height); }
  ConstFrame frame() const { return packedFrame(bytes.data(), width, height); }
};

// The clockwise turn, in quarter turns 0..3, that shows a picture upright.
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
