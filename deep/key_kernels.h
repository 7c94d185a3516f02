// The deep key's work on rows, at the CPU level in use.
#pragma once

#include <array>
#include <cstddef>

#include "deep/rows.h"
#include "engine/key_geometry.h"

namespace kalvetra::deep {

// What is left to do with a keyed row: the matte is limited by the frame's alpha and clipped, shadows are kept, and the
// view is written. Where the frame's alpha is 0, its colour comes back.
struct Finish {
  bool matteView;          // otherwise the keyed result
  bool blueScreen;         // green and blue have to change places
  bool fromPremultiplied;  // frames of floats: colours come multiplied by alpha
  bool premultiplied;      // colours leave multiplied by alpha
  bool clips;              // by the two levels that become 0 and 255
  float low, high;
  float shadowExponent;  // of the shadow curve
  float noise = 0;       // where shadows are kept, of a channel, standard deviation in levels above 0; 0 keeps none
};

// A row of the frame. Of frames of bytes `levels` alone, of frames of floats `floats` alone, four a pixel.
struct HostRow {
  ConstRow levels{};
  const float* floats = nullptr;
};

// Some rows to be keyed, and where their keys go. Rows are keyed several at a time so that the pixels that need more
// work come in numbers.
struct KeyRows {
  static constexpr int kMost = 8;
  std::size_t pixels;  // of a row, at most 65536
  int count;
  std::array<HostRow, kMost> host;
  std::array<ConstRow, kMost> deblocked;  // keyed in place of the host's colours; null where there are none
  std::array<ConstRow, kMost> plate;      // where it is keyed against one
  std::array<float*, kMost> result;       // four floats a pixel
  // Null: the result is finished at once, without shadows. Otherwise its colours are those of the key, or the frame's
  // where that shows nothing, straight and in working colours, its alpha is the frame's in levels, and this gets the
  // key's, in levels.
  std::array<float*, kMost> matte;
};

// A pixel that is foreground keeps the very colours that it came with, as does one whose colours the key changes by no
// more than rounding. Another one gets colours within 0..255
// levels, or between that and the pixel's own where those lie outside.
void keyAgainstColor(const ColorKeyGeometry& geometry, const Finish& finish, const KeyRows& rows);
// `plateOffset`: levels by which the plate counts as brighter than it is.
void keyAgainstPlate(const PlateKeyGeometry& geometry, float plateOffset, const Finish& finish, const KeyRows& rows);

// Nothing is keyed: the frame's row, finished without shadows.
void passRow(const Finish& finish, const HostRow& host, float* result, std::size_t pixels);

// Finishes a row that was keyed with its matte apart. Where shadows are kept, the frame's and the plate's row are read.
void finishRow(const Finish& finish, const HostRow& host, const ConstRow& plate, const float* matte, float* result,
               std::size_t pixels);

// Rows of a plate, opaque: levels in working colours to code values.
void storeRow(const ConstRow& levels, bool blueScreen, float* result, std::size_t pixels);

// Four floats a pixel to those of an 8-bit format, rounded; what is below 0 or above 1 is cut off.
void roundRow(const float* codes, PixelFormat format, unsigned char* bytes, std::size_t pixels);

}  // namespace kalvetra::deep
