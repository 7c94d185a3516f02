// Drawing primitives of the demonstration clip: layers of premultiplied colour, shapes that know their distance to the
// outline and their height towards the camera, and lighting that turns heights into shaded colour.
// Lengths are pixels with y pointing down; colours are display-referred, 0..1.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace kalvetra::sample {

struct Vec {
  float x, y;
};
inline Vec operator+(Vec a, Vec b) { return {a.x + b.x, a.y + b.y}; }
inline Vec operator-(Vec a, Vec b) { return {a.x - b.x, a.y - b.y}; }
inline Vec operator*(Vec a, float k) { return {a.x * k, a.y * k}; }

struct Color {
  float r, g, b;
};
inline Color operator+(Color a, Color b) { return {a.r + b.r, a.g + b.g, a.b + b.b}; }
inline Color operator*(Color a, float k) { return {a.r * k, a.g * k, a.b * k}; }
inline Color mix(Color a, Color b, float t) { return a * (1 - t) + b * t; }

inline constexpr Color kScreenGreen{45 / 255.0F, 165 / 255.0F, 75 / 255.0F};

inline float mix(float a, float b, float t) { return a + (b - a) * t; }
float smoothStep(float from, float to, float x);  // 0 up to `from`, 1 beyond `to`; the two may be in either order
float bell(float x, float y);                     // exp(-x^2 - y^2), 0 where that is too small to matter

std::uint32_t hash(std::uint32_t x);
float random(std::uint32_t seed);                   // 0..1, a pure function of the seed
float noise(float x, float y, std::uint32_t seed);  // smooth, 0..1, about one bump per unit

// A rotation and shift from a body part's own coordinates to the picture: `pivot` lands on `at`.
class Pose {
 public:
  Pose(Vec pivot, Vec at, float angle);
  Vec toPicture(Vec local) const;
  Vec toLocal(Vec picture) const;
  float angle() const { return angle_; }

 private:
  Vec pivot_, at_;
  float angle_, cos_, sin_;
};

struct Box {
  float left, top, right, bottom;
};

struct Pixel {
  Color color;  // premultiplied
  float alpha;
};

// A picture-sized stack of what has been drawn so far, or a part of one: pixels outside the box are not kept.
class Layer {
 public:
  explicit Layer(Box box);
  int left() const { return left_; }
  int top() const { return top_; }
  int right() const { return left_ + width_; }
  int bottom() const { return top_ + height_; }
  Pixel& at(int x, int y);
  const Pixel& at(int x, int y) const;
  void cover(int x, int y, Color color, float alpha);
  void add(const Layer& other, float weight);  // for averages of several moments; `other` has the same box
  void cover(const Layer& other);              // `other` lies inside this layer

 private:
  int left_, top_, width_, height_;
  std::vector<Pixel> pixels_;
};

// A rounded shape at one point: signed distance to its outline (negative inside) and height towards the camera.
struct Form {
  float distance, height;
};
Form capsule(Vec p, Vec a, Vec b, float radiusA, float radiusB);
Form ellipsoid(Vec p, Vec centre, float radiusX, float radiusY, float depth);
// A solid with the given half width at each height, depth as a share of the half width. Stations go downwards.
struct Station {
  float y, halfWidth;
};
Form profile(Vec p, std::span<const Station> stations, float depth);
Form merge(Form a, Form b, float radius);            // union with the seam rounded over about `radius` pixels
float polygon(Vec p, std::span<const Vec> corners);  // signed distance
// Height of a plate whose edge is rounded with `radius`; 0 outside of it.
float bevel(float distance, float radius);

// What is seen at a point of a solid.
struct Surface {
  Form form;
  Color albedo;
  float gloss = 0.05F;    // 0..1, strength of the highlight
  float softness = 1.4F;  // width of the outline's ramp in pixels; large where out of focus
  float glow = 0;         // 0..1, how far light creeps round into the shade, as it does in skin
};

// Draws a solid, lit from the upper left, over the layer. `box` bounds it in local coordinates. Within `shadowReach`
// pixels of it, what was drawn before is darkened, as it is where one thing lies close to another.
void drawSolid(Layer& layer, const Pose& pose, Box box, float shadowReach,
               const std::function<Surface(Vec)>& surfaceAt);

// One knot of a hair: position in the picture, width in pixels, opacity 0..1.
struct Knot {
  Vec p;
  float width, opacity;
  Color color;
};
void drawStrand(Layer& layer, std::span<const Knot> knots);

}  // namespace kalvetra::sample
