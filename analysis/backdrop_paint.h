// Paints of a backdrop: what in pictures is of one colour, and how far it looks like a screen.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "analysis/measured_color.h"
#include "engine/chroma_plane.h"

namespace kalvetra::paint {

inline constexpr int kRegions = 8;  // a side, of the squares in which light is compared

// A pixel of a picture.
struct Point {
  unsigned char rgb[3];
  unsigned char region;  // of the frame, 0..63, row by row
  unsigned char rough;   // difference in luminance from pixels near it, in percent of its own beyond noise
  bool rim;              // at the picture's top or the upper half of its sides, black bars left out
  bool side;             // at its left or right, at any height
  float hue;             // 0..360 degrees of CImagingZEP::RGBtoHLS: yellow 173, green 225, blue 340
  float saturation;      // of the same
  YIQ color;
};

struct Points {
  std::vector<Point> all;
  std::size_t rim = 0, side = 0;  // of them
};

// Adds a grid of a frame's points; see BackdropFinder::add.
void addPoints(const unsigned char* argb, int width, int height, Points& points);

// What hues a screen can have. Grass and foliage lie between yellow and green, skin, sand and wood below yellow, cyan
// between green and blue, purple above blue.
enum class Kind { Green, Yellow, Blue };

bool isOf(Kind kind, const Point& point);

// Degrees from one hue to another, 0..180.
float hueDistance(float a, float b);

// The pixels within reach of one chroma.
struct Paint {
  Kind kind;
  Chroma center{};
  ColorSums sums;
  float hue = 0.0f;               // of their mean
  std::size_t rim = 0, side = 0;  // of them
};

// Whether the two are near enough to be one paint.
bool withinReach(Chroma a, Chroma b);

bool holds(const Paint& paint, const Point& point);

// The paint that most points of one kind share, of those whose hue lies at least `apart` degrees from `from`'s.
Paint fullest(const Points& points, Kind kind, const Paint* from = nullptr, float apart = 0.0f);

// How far a paint looks like a screen: each 0..1, and 1 where nothing speaks against it.
struct Look {
  double share;     // of all points
  double alone;     // part of its kind's points that have its hue, however dark or pale
  double smooth;    // not as leaves, grass and hair are
  double reaching;  // to the picture's rim
  double strong;    // in colour: pale or dark ones are sky, sand, cloth
  double level;     // .5 where it grows paler downwards, as a sky does
  double likeness() const { return smooth * reaching * strong * level; }
};
// `besideOther`: it may reach the sides at the bottom alone, as a floor does.
Look lookOf(const Paint& paint, const Points& points, bool besideOther = false);

// Of the light, in percent; see BackdropColor::unevenness.
double unevennessOf(const Paint& paint, const Points& points);

// Share of the points that are blue or purple but not of this blue paint, in light or shadow.
double otherBlues(const Paint& paint, const Points& points);

}  // namespace kalvetra::paint
