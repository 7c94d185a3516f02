// Trial keys of a few pictures, on samples of their pixels: how far they lie from what they should be, and what they do
// to that which the plain key already has right.
#pragma once

#include <array>
#include <vector>

#include "analysis/reference_matte.h"
#include "engine/key_settings.h"

namespace kalvetra {

// Where a pixel lies in the plain key.
enum class Place {
  Clear,  // bare screen
  Thin,   // less than half opaque: hair, veils, glass, shadows
  Rim,    // denser, or solid and near what is not
  Deep,   // solid, and away from all that is not
};
inline constexpr int kPlaces = 4;

// What settings do to the plain key of a picture: in percent of opacity, the mean over a place, or in levels of 255.
struct Change {
  double haze = 0.0;                             // opacity that bare screen gains
  double filled = 0.0;                           // that thin things of the screen's hue gain
  double thinned = 0.0;                          // that thin things lose
  double opened = 0.0;                           // that deep solids lose
  double saved = 0.0;                            // that solids of another hue than the screen's gain
  double greenAtRim = 0.0, greenInSolids = 0.0;  // levels of green that are added, seen over black
  double ownGreen = 0.0;  // green to red of what changes its colour visibly; 0 where nothing does
};

class Trials {
 public:
  // `plain` is what a proposal has to beat.
  explicit Trials(const KeySettings& plain) : plain_(plain) {}

  // A picture and the backdrop that it is keyed against, of one size, packed and in host order; neither is kept.
  void add(const unsigned char* argb, const unsigned char* backdrop, int width, int height, ReferenceMatte matte);

  // Mean difference in levels (0..255) between the key and its target, each laid over mid grey and over magenta;
  // pixels without a target count as right. Colours that stand out count once more: green that the plain key takes out
  // of solids and these settings leave in, and violet that the target has not.
  double cost(const KeySettings& settings) const;

  // Of each picture, in the order in which they were added. Some numbers speak for the settings, and what speaks for
  // them in one picture excuses nothing in another.
  std::vector<Change> changes(const KeySettings& settings) const;

  std::vector<const ReferenceMatte*> mattes() const;
  const KeySettings& plain() const { return plain_; }

 private:
  using Pixel = std::array<unsigned char, 4>;  // alpha, red, green, blue
  // Pixels of a picture out of their places: all settings that are tried act on each pixel alone.
  struct Picture {
    ReferenceMatte matte;
    std::vector<std::size_t> pixels;  // of the targets in their order, then others
    std::vector<Place> places;        // of the others
    std::vector<Pixel> source, backdrop, plain;
  };
  void choosePixels(Picture& picture, const std::vector<Pixel>& plainKey, int width, int height) const;
  double cost(const Picture& picture, const KeySettings& settings) const;
  Change change(const Picture& picture, const KeySettings& settings) const;

  KeySettings plain_;
  std::vector<Picture> pictures_;
};

}  // namespace kalvetra
