// How the pictures of a clip are keyed. Decided here alone, so that every way to a key gives the same one.
#pragma once

#include <string>

#include "engine/key_settings.h"
#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"

namespace kalvetra {

enum class FieldChoice { Auto, Off, On };

enum class DepthChoice {
  Auto,   // full depth where the clip has more than 8 bits, in its colours or its alpha
  Eight,  // in 8 bits
  Deep,   // full depth
};

// What the user may choose of it.
struct KeyingChoice {
  FieldChoice fields = FieldChoice::Auto;  // Auto: as the clip says
  bool dither = true;                      // what goes from more bits to 8, instead of rounding it; never levels
  bool levels = false;                     // what the pictures hold are levels, as those of a matte, and no light
  DepthChoice depth = DepthChoice::Eight;  // what is found out about a clip, is found in 8 bits
};

// Whether a clip of so many bits is keyed at full depth.
constexpr bool keysDeep(DepthChoice choice, int bits) {
  return choice == DepthChoice::Deep || (choice == DepthChoice::Auto && bits > 8);
}

// The choice for a clip that is keyed with such settings: full depth where they ask for what works there alone. Throws
// UserError where 8 bits were chosen for that.
DepthChoice settledDepth(DepthChoice choice, const KeySettings& settings);

// What settings ask for that works at full depth alone: "refine on and despill material"; empty: nothing.
std::string fullDepthText(const KeySettings& settings);

class ClipKeying {
 public:
  ClipKeying(const Reader& clip, const KeyingChoice& choice);

  // The two fields of each picture are keyed apart.
  bool fields() const { return fields_; }
  // The pictures are deep, and so is their key.
  bool deep() const { return conversion_.deep; }
  // Bits of a component that hold the keyed pictures: 8, or those of a Delivery.
  int depth() const { return depth_; }
  // There are more than 8 bits, which are dithered to 8: those of the clip or, at full depth, of outputs that hold 8.
  bool dithers() const { return dithers_; }
  // Makes the pictures that the keyer gets; one for each thread.
  FrameConverter converter() const { return FrameConverter(color_, conversion_); }
  // For pictures made of the clip's that have no fields any more, such as reduced ones.
  ClipKeying withoutFields() const;

 private:
  ColorTags color_;
  ConversionOptions conversion_;
  bool fields_;
  int depth_;
  bool dithers_;
};

}  // namespace kalvetra
