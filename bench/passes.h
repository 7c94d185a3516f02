// Every pass of the keyer that has a plain and a vector form, in one list: the equality test compares the forms, the
// benchmark times them.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "engine/key_settings.h"

namespace kalvetra::bench {

// Backdrop of the demonstration clip and, roughly, of the tests' green screens: red, green, blue.
inline constexpr std::array<unsigned char, 3> kScreenGreen{39, 144, 66};

struct Size {
  int width;   // pixels
  int height;  // pixels
};

// What one run of a pass reads and writes. All belong to the caller, packed, at any alignment.
struct Images {
  Size size;              // of the source
  unsigned char* source;  // null for a pass that works in place
  unsigned char* second;  // as the pass's `second` says
  unsigned char* result;  // resultBytes() bytes
};

enum class Source {
  HostFrame,  // alpha, red, green, blue
  Image,      // blue, green, red, alpha
  Plane,      // one byte a pixel
};

enum class Second {
  None,     // null
  Plate,    // a backdrop of the source's size, which is not changed
  Scratch,  // as many bytes as the source; what is left there counts for nothing
};

struct Setting {
  std::string name;  // "defaults", or what differs from them
  std::function<void(const Images&)> run;
  bool pointwise = false;  // a pixel of the result depends on no source pixel but the one at its place
  bool timed = false;
};

struct Pass {
  std::string name;
  std::vector<Setting> settings;  // the first at the defaults
  std::function<std::size_t(Size)> resultBytes;
  Source source = Source::Image;
  Second second = Second::None;
  bool inPlace = false;        // the result starts as a copy of the source
  bool changesSource = false;  // for some of its settings
  bool onSmallCopy = false;    // works on the reduced copy of a frame, at most 320 pixels a side
};

std::size_t sourceBytes(const Pass& pass, Size size);

std::vector<Pass> allPasses();

// The pass of that name. Throws std::out_of_range where there is none.
const Pass& passNamed(const std::vector<Pass>& passes, const std::string& name);

// The frame's default settings with the key colour kScreenGreen.
KeySettings screenSettings();

// The source, a host frame, through the render call.
void renderImages(const KeySettings& settings, const Images& images);

}  // namespace kalvetra::bench
