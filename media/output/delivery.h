// What an output is to be: which codec in which container, and how its alpha is written. Chosen by what it is for, by
// the codec's name or by the output's name, and refused in one sentence where these do not fit together.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/output/output_format.h"

namespace kalvetra {

// What straight pictures hold where alpha is 0.
enum class HiddenColors {
  Auto,    // Extend in lossy codecs, Keep in lossless ones
  Keep,    // what the keyer left there
  Extend,  // see media/pixels/hidden_colors.h
};

struct DeliveryRequest {
  std::string path;                  // the output as the user named it; "-" is the standard output
  std::string purpose{};             // one of purposes(); empty: none named
  std::string codec{};               // the slug of an OutputFormat; empty: by purpose, then by the path's extension
  std::optional<AlphaMode> alpha{};  // empty: the default of the kind of file
  bool opaque = false;               // the pictures have no alpha: a matte, a composite, a plate
  bool levels = false;               // opaque pictures of a matte: numbers, which no conversion to light may change
  HiddenColors hidden = HiddenColors::Auto;
  int depth = 8;       // bits of a component that hold the pictures: above 8 they are deep, see exactDepth()
  bool dither = true;  // colours of deep pictures are spread over the dither's pattern where the file holds 8 bits
};

struct Delivery {
  const OutputFormat* format = nullptr;  // never null once chosen; lives as long as the program
  AlphaMode alpha = AlphaMode::Straight;
  bool levels = false;  // as asked for
  // The codec has no alpha: this file, the fill, holds the straight colours as opaque pictures (alpha is None), and
  // the matte goes into a second file as opaque grey pictures, named by matteNameFor, delivered as matteDelivery says.
  bool pair = false;
  bool extendsHidden = false;  // colours under alpha 0 are those of the edges, not the keyer's
  int depth = 8;               // as asked for
  bool dither = true;          // as asked for; never of levels

  bool isDeep() const { return depth > 8; }
  // Colours of deep pictures are spread over the dither's pattern, as the file holds 8 bits.
  bool dithersDeep() const;
  // Of the depths that the codec has for deep pictures the least that holds them, else the largest.
  AVPixelFormat pixelFormat() const;
};

// Throws UserError, with a sentence that says what would fit, for an unknown name and for what does not fit together.
//   editing      ProRes 4444 in .mov, straight
//   web          VP9 in .webm, straight
//   compositing  OpenEXR half pictures, premultiplied, linear light
//   archive      FFV1 in .mkv, straight
//   still        PNG, straight
// A codec may be named with a purpose that it serves. "-" alone is NUT.
Delivery chooseDelivery(const DeliveryRequest& request);

// The names that `purpose` and `codec` take, in the order of help texts.
std::vector<std::string> purposes();
std::vector<std::string> codecs();

// The extension, with its dot, of the usual file for a purpose or, where one is named, for a codec; .mov for neither.
// Throws UserError for an unknown name.
std::string usualExtension(const std::string& purpose, const std::string& codec);

// For people: "ProRes 4444, straight alpha".
std::string describe(const Delivery& delivery);

// The second file of a pair: shot.webm -> shot-matte.webm.
std::string matteNameFor(const std::string& path);
Delivery matteDelivery(const Delivery& pair);

// The value under kAlphaTag of its file; "separate" for the fill of a pair.
std::string alphaTag(const Delivery& delivery);

}  // namespace kalvetra
