#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "sample/subject.h"

namespace kalvetra::sample {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;
constexpr Color kBrown{0.36F, 0.22F, 0.14F};
constexpr float kParting = 12;  // x of the line from which the hair falls to both sides

struct Strand {
  float side;   // -1 left, 1 right of the parting
  float shell;  // 0 at the face .. 1 at the outline
  float tipY;   // where it ends
  float wave;   // pixels
  float phase;  // radians
  std::uint32_t seed;
};

// Where the strand runs: t = 0 at the parting .. 1 at the tip.
Vec strandPoint(const Strand& s, float t) {
  const float side = s.side, u = s.shell, crown = std::min(u, 1.0F);
  const std::array<Vec, 5> through{
      Vec{kParting - 2 * side, mix(90.0F, 49.0F, crown)},
      Vec{kParting * 0.6F + side * mix(36.0F, 47.0F, crown), mix(98.0F, 66.0F, crown) + 4 * side},
      Vec{side * mix(54.0F, 83.0F, u), mix(140.0F, 122.0F, u)}, Vec{side * mix(58.0F, 90.0F, u), 200},
      Vec{side * mix(50.0F, 92.0F, u), s.tipY}};
  // A cubic through all five, with the ends doubled.
  const float position = std::min(t, 0.999F) * 4;
  const auto i = static_cast<std::size_t>(position);
  const float f = position - static_cast<float>(i);
  const Vec a = through[i > 0 ? i - 1 : 0], b = through[i], c = through[i + 1],
            d = through[std::min<std::size_t>(i + 2, 4)];
  const Vec p = b + ((c - a) + ((a * 2 - b * 5 + c * 4 - d) + (b * 3 - a - c * 3 + d) * f) * f) * (0.5F * f);
  const float free = smoothStep(120, 230, p.y);
  return p + Vec{s.wave * free * std::sin(2 * kPi * (p.y - 120) / 92 + s.phase), 0};
}

// Light on hair: by the side that the head shows there, and a band of shine across the crown.
Color hairColor(Vec p, const Strand& s) {
  const float facing = 0.66F - 0.0022F * p.x - 0.0030F * (std::min(p.y, 210.0F) - 125);
  const float band =
      bell((p.y - 92 - 0.0035F * p.x * p.x + 6 * random(s.seed + 5)) / 15, 0) + 0.4F * bell((p.y - 222) / 22, 0);
  const float tone = (0.55F + 0.75F * random(s.seed + 6)) * (0.40F + 0.75F * facing);
  const Color shine = Color{0.62F, 0.44F, 0.30F} * (band * (0.25F + 0.5F * random(s.seed + 7)));
  return kBrown * tone + shine * std::max(0.0F, facing);
}

void drawLock(Layer& picture, const Pose& head, const Strand& s, float width, float opacity) {
  constexpr std::size_t kKnots = 24;
  std::array<Knot, kKnots> knots{};
  for (std::size_t i = 0; i < kKnots; ++i) {
    const float t = static_cast<float>(i) / (kKnots - 1);
    const Vec p = strandPoint(s, t);
    knots[i] = {head.toPicture(p), width * mix(1.0F, 0.6F, t), opacity * smoothStep(1.03F, 0.85F, t), hairColor(p, s)};
  }
  drawStrand(picture, knots);
}

Strand randomStrand(std::uint32_t seed, float innermost, float outermost) {
  const float shell = mix(innermost, outermost, random(seed));
  return {random(seed + 1) < 0.5F ? -1.0F : 1.0F,
          shell,
          mix(258.0F, 312.0F, random(seed + 2)),
          4 + 3 * random(seed + 3),
          2.2F * random(seed + 4),
          seed};
}

// A single hair that leaves the outline and hangs in the air, moved a little by it.
void drawFlyaway(Layer& picture, const Pose& head, std::uint32_t seed, float seconds) {
  const Strand s = randomStrand(seed, 0.95F, 1.05F);
  const float start = mix(0.12F, 0.92F, random(seed + 8));
  const Vec root = strandPoint(s, start), ahead = strandPoint(s, std::min(start + 0.06F, 0.99F)) - root;
  const float norm = std::max(std::hypot(ahead.x, ahead.y), 1.0F);
  const Vec along = ahead * (1 / norm);
  const Vec out{along.y * s.side, -along.x * s.side};
  const float length = (18 + 85 * random(seed + 9) * random(seed + 10)) * (1.1F - 0.6F * start);
  const float lift = length * 0.5F * random(seed + 11);
  const float curl = length * 0.9F * (random(seed + 12) - 0.45F);
  const float breeze = 0.06F * length * std::sin(2 * kPi * (seconds * 2 / 3 + random(seed + 13)));
  const float bends = 2 + 4 * random(seed + 15);
  const float width = mix(0.7F, 1.2F, random(seed + 14));
  std::array<Knot, 10> knots{};
  for (std::size_t i = 0; i < knots.size(); ++i) {
    const float t = static_cast<float>(i) / 9;
    const float aside = lift * t + (curl + breeze) * t * t + 0.05F * length * t * std::sin(bends * t);
    const Vec p = root + along * (length * t) + out * aside + Vec{0, 0.25F * length * t * t};
    const Color lit = mix(hairColor(p, s) + kBrown * 0.25F, kScreenGreen, 0.05F);
    knots[i] = {head.toPicture(p), width, mix(0.95F, 0.35F, t), lit};
  }
  drawStrand(picture, knots);
}

}  // namespace

void drawBackHair(Layer& picture, const Pose& head) {
  drawSolid(picture, head, {-112, 40, 112, 320}, 0, [](Vec p) {
    Form form = merge(capsule(p, {-48, 150}, {-60, 262}, 32, 24), capsule(p, {48, 150}, {60, 262}, 32, 24), 20);
    form = merge(merge(form, capsule(p, {0, 150}, {0, 240}, 50, 48), 20), ellipsoid(p, {0, 128}, 80, 80, 60), 20);
    return Surface{form, kBrown * 0.62F};
  });
  for (std::uint32_t i = 0; i < 500; ++i)
    drawLock(picture, head, randomStrand(10000 + i * 16, 0.5F, 0.98F), 1.6F, 0.9F);
}

void drawFrontHair(Layer& picture, const Pose& head, float seconds) {
  drawSolid(picture, head, {-112, 40, 112, 320}, 10, [](Vec p) {
    Form form = merge(capsule(p, {-62, 150}, {-72, 266}, 18, 14), capsule(p, {62, 150}, {72, 266}, 18, 14), 10);
    form = merge(ellipsoid(p, {0, 128}, 80, 80, 66), form, 24);
    const float window = ellipsoid(p, {2, 182}, 53, 92, 1).distance;
    form.distance = std::max(form.distance, -window);
    return Surface{form, kBrown * 0.8F};
  });
  for (std::uint32_t i = 0; i < 900; ++i)
    drawLock(picture, head, randomStrand(50000 + i * 16, -0.16F, 1.0F), 1.6F, 0.85F);
  for (std::uint32_t i = 0; i < 480; ++i) drawFlyaway(picture, head, 90000 + i * 16, seconds);
  // Thin, half transparent wisps beside the hair.
  for (std::uint32_t i = 0; i < 90; ++i) {
    Strand s = randomStrand(120000 + i * 16, 1.0F, 1.5F);
    s.wave += 3 * std::sin(2 * kPi * (seconds / 3 + random(s.seed + 8)));
    drawLock(picture, head, s, 0.8F, 0.5F);
  }
}

}  // namespace kalvetra::sample
