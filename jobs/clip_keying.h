// How the pictures of a clip are keyed. Decided here alone, so that every way to a key gives the same one.
#pragma once

#include "media/input/reader.h"
#include "media/pixels/frame_converter.h"

namespace kalvetra {

enum class FieldChoice { Auto, Off, On };

// What the user may choose of it.
struct KeyingChoice {
  FieldChoice fields = FieldChoice::Auto;  // Auto: as the clip says
  bool dither = true;                      // sources beyond 8 bits, instead of rounding them; never levels
  bool levels = false;                     // what the pictures hold are levels, as those of a matte, and no light
};

class ClipKeying {
 public:
  ClipKeying(const Reader& clip, const KeyingChoice& choice);

  // The two fields of each picture are keyed apart.
  bool fields() const { return fields_; }
  // The clip has more than 8 bits, and is dithered to them.
  bool dithers() const { return dithers_; }
  // Makes the pictures that the keyer gets; one for each thread.
  FrameConverter converter() const { return FrameConverter(color_, conversion_); }
  // For pictures made of the clip's that have no fields any more, such as reduced ones.
  ClipKeying withoutFields() const;

 private:
  ColorTags color_;
  ConversionOptions conversion_;
  bool fields_;
  bool dithers_;
};

}  // namespace kalvetra
