#include "sample/canvas.h"

#include <algorithm>
#include <cmath>

namespace kalvetra::sample {

namespace {

// Height of a unit dome at share k of its radius. Near the rim it goes on as a straight slope, also outside, so that
// soft outlines are still lit as rims and slopes stay finite.
float dome(float k) {
  constexpr float kRim = 0.92F, kRimHeight = 0.392F, kRimSlope = 2.347F;
  return k < kRim ? std::sqrt(1 - k * k) : kRimHeight - kRimSlope * (k - kRim);
}

// A surface's display-referred colour, from its slopes in x and y.
Color shade(const Surface& s, float slopeX, float slopeY) {
  const float nz = 1 / std::sqrt(1 + slopeX * slopeX + slopeY * slopeY);
  const float nx = -slopeX * nz;
  const float ny = -slopeY * nz;
  const float key = -0.52F * nx - 0.50F * ny + 0.69F * nz;  // from the upper left
  const float fill = 0.80F * nx - 0.10F * ny + 0.59F * nz;  // from the right
  const float half = -0.28F * nx - 0.27F * ny + 0.92F * nz;
  const auto wrapped = [](float lambert, float wrap) { return std::max(0.0F, (lambert + wrap) / (1 + wrap)); };
  const float fillLight = 0.22F * wrapped(fill, 0.2F);
  const float sky = 0.13F - 0.05F * ny;
  const float shine = s.gloss * std::pow(std::max(half, 0.0F), 28.0F);
  const Color light{0.88F * wrapped(key, 0.10F + 0.45F * s.glow) + 0.9F * fillLight + sky,
                    0.85F * wrapped(key, 0.10F + 0.15F * s.glow) + 0.95F * fillLight + sky,
                    0.81F * wrapped(key, 0.10F + 0.05F * s.glow) + fillLight + 1.1F * sky};
  // Light adds up in linear light, for which the square is close enough.
  const auto toDisplay = [shine](float albedo, float amount) {
    return std::sqrt(std::min(1.0F, albedo * albedo * amount + shine));
  };
  const Color lit{toDisplay(s.albedo.r, light.r), toDisplay(s.albedo.g, light.g), toDisplay(s.albedo.b, light.b)};
  const float spill = 0.055F * (1 - nz) * (1 - nz);  // green light from the screen behind, on what faces sideways
  return lit * (1 - spill) + kScreenGreen * spill;
}

struct SegmentPoint {
  float along, away;  // place of the nearest point of the segment, 0..1, and its distance
};

SegmentPoint towardsSegment(Vec p, Vec a, Vec b) {
  const Vec axis = b - a, d = p - a;
  const float along = std::clamp((d.x * axis.x + d.y * axis.y) / (axis.x * axis.x + axis.y * axis.y), 0.0F, 1.0F);
  return {along, std::hypot(d.x - axis.x * along, d.y - axis.y * along)};
}

}  // namespace

float smoothStep(float from, float to, float x) {
  const float t = std::clamp((x - from) / (to - from), 0.0F, 1.0F);
  return t * t * (3 - 2 * t);
}

float bell(float x, float y) {
  const float square = x * x + y * y;
  return square < 16 ? std::exp(-square) : 0;
}

std::uint32_t hash(std::uint32_t x) {
  x = (x ^ (x >> 16)) * 0x7feb352dU;
  x = (x ^ (x >> 15)) * 0x846ca68bU;
  return x ^ (x >> 16);
}

float random(std::uint32_t seed) { return static_cast<float>(hash(seed) >> 8) / 16777216.0F; }

float noise(float x, float y, std::uint32_t seed) {
  const float x0 = std::floor(x), y0 = std::floor(y);
  const auto corner = [&](int dx, int dy) {
    const auto ix = static_cast<std::uint32_t>(static_cast<int>(x0) + dx);
    const auto iy = static_cast<std::uint32_t>(static_cast<int>(y0) + dy);
    return random(ix * 0x9e3779b1U + iy * 0x85ebca77U + seed);
  };
  const float tx = smoothStep(0, 1, x - x0), ty = smoothStep(0, 1, y - y0);
  return mix(mix(corner(0, 0), corner(1, 0), tx), mix(corner(0, 1), corner(1, 1), tx), ty);
}

Pose::Pose(Vec pivot, Vec at, float angle)
    : pivot_(pivot), at_(at), angle_(angle), cos_(std::cos(angle)), sin_(std::sin(angle)) {}

Vec Pose::toPicture(Vec local) const {
  const Vec d = local - pivot_;
  return at_ + Vec{cos_ * d.x - sin_ * d.y, sin_ * d.x + cos_ * d.y};
}

Vec Pose::toLocal(Vec picture) const {
  const Vec d = picture - at_;
  return pivot_ + Vec{cos_ * d.x + sin_ * d.y, cos_ * d.y - sin_ * d.x};
}

Layer::Layer(Box box)
    : left_(static_cast<int>(box.left)),
      top_(static_cast<int>(box.top)),
      width_(static_cast<int>(box.right) - left_),
      height_(static_cast<int>(box.bottom) - top_),
      pixels_(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height_), Pixel{}) {}

Pixel& Layer::at(int x, int y) { return pixels_[static_cast<std::size_t>((y - top_) * width_ + x - left_)]; }

const Pixel& Layer::at(int x, int y) const {
  return pixels_[static_cast<std::size_t>((y - top_) * width_ + x - left_)];
}

void Layer::cover(int x, int y, Color color, float alpha) {
  Pixel& below = at(x, y);
  below = {color * alpha + below.color * (1 - alpha), alpha + below.alpha * (1 - alpha)};
}

void Layer::add(const Layer& other, float weight) {
  for (std::size_t i = 0; i < pixels_.size(); ++i) {
    pixels_[i].color = pixels_[i].color + other.pixels_[i].color * weight;
    pixels_[i].alpha += other.pixels_[i].alpha * weight;
  }
}

void Layer::cover(const Layer& other) {
  for (int y = other.top(); y < other.bottom(); ++y) {
    for (int x = other.left(); x < other.right(); ++x) {
      const Pixel& above = other.at(x, y);
      Pixel& below = at(x, y);
      below = {above.color + below.color * (1 - above.alpha), above.alpha + below.alpha * (1 - above.alpha)};
    }
  }
}

Form capsule(Vec p, Vec a, Vec b, float radiusA, float radiusB) {
  const auto [along, away] = towardsSegment(p, a, b);
  const float radius = mix(radiusA, radiusB, along);
  return {away - radius, radius * dome(away / radius)};
}

Form ellipsoid(Vec p, Vec centre, float radiusX, float radiusY, float depth) {
  const Vec d = p - centre;
  const float k = std::hypot(d.x / radiusX, d.y / radiusY);
  const float gradient = std::hypot(d.x / (radiusX * radiusX), d.y / (radiusY * radiusY));
  const float distance = gradient > 0 ? k * (k - 1) / gradient : -std::min(radiusX, radiusY);
  return {distance, depth * dome(k)};
}

Form profile(Vec p, std::span<const Station> stations, float depth) {
  std::size_t i = 1;
  while (i + 1 < stations.size() && stations[i].y < p.y) ++i;
  const Station& above = stations[i - 1];
  const Station& below = stations[i];
  const float t = std::clamp((p.y - above.y) / (below.y - above.y), 0.0F, 1.0F);
  // Each span is a cubic whose end slopes are those of the neighbouring chords, so the outline has no corners.
  const Station& before = stations[i >= 2 ? i - 2 : 0];
  const Station& after = stations[std::min(i + 1, stations.size() - 1)];
  const float span = below.y - above.y;
  const float m0 = (below.halfWidth - before.halfWidth) / (below.y - before.y) * span;
  const float m1 = (after.halfWidth - above.halfWidth) / (after.y - above.y) * span;
  const float rise = below.halfWidth - above.halfWidth;
  const float c = 3 * rise - 2 * m0 - m1, d = m0 + m1 - 2 * rise;
  const float halfWidth = above.halfWidth + t * (m0 + t * (c + t * d));
  const float slope = (m0 + t * (2 * c + 3 * t * d)) / span;
  const float outside = std::max(stations.front().y - p.y, p.y - stations.back().y);
  const float sideways = (std::abs(p.x) - halfWidth) / std::sqrt(1 + slope * slope);
  return {std::max(sideways, outside), depth * halfWidth * dome(std::abs(p.x) / halfWidth)};
}

Form merge(Form a, Form b, float radius) {
  const float h = std::max(radius - std::abs(a.distance - b.distance), 0.0F);
  const float g = std::max(radius - std::abs(a.height - b.height), 0.0F);
  return {std::min(a.distance, b.distance) - h * h / (4 * radius), std::max(a.height, b.height) + g * g / (4 * radius)};
}

float polygon(Vec p, std::span<const Vec> corners) {
  float nearest = 1e9F;
  bool inside = false;
  for (std::size_t i = 0; i < corners.size(); ++i) {
    const Vec a = corners[i], b = corners[(i + 1) % corners.size()];
    nearest = std::min(nearest, towardsSegment(p, a, b).away);
    if ((a.y > p.y) != (b.y > p.y) && p.x < a.x + (b.x - a.x) * (p.y - a.y) / (b.y - a.y)) inside = !inside;
  }
  return inside ? -nearest : nearest;
}

float bevel(float distance, float radius) {
  return radius * std::max(0.0F, dome(std::max(0.0F, 1 + distance / radius)));
}

void drawSolid(Layer& layer, const Pose& pose, Box box, float shadowReach,
               const std::function<Surface(Vec)>& surfaceAt) {
  const Vec corners[] = {pose.toPicture({box.left, box.top}), pose.toPicture({box.right, box.top}),
                         pose.toPicture({box.left, box.bottom}), pose.toPicture({box.right, box.bottom})};
  const auto [minX, maxX] = std::ranges::minmax(corners, {}, &Vec::x);
  const auto [minY, maxY] = std::ranges::minmax(corners, {}, &Vec::y);
  const int left = std::max(layer.left(), static_cast<int>(minX.x)),
            top = std::max(layer.top(), static_cast<int>(minY.y));
  const int right = std::min(layer.right(), static_cast<int>(maxX.x)),
            bottom = std::min(layer.bottom(), static_cast<int>(maxY.y));
  if (left >= right || top >= bottom) return;

  // One more row and column on each side, for the slopes.
  const int stride = right - left + 2;
  std::vector<Surface> grid;
  grid.reserve(static_cast<std::size_t>(stride * (bottom - top + 2)));
  for (int y = top - 1; y <= bottom; ++y) {
    for (int x = left - 1; x <= right; ++x) {
      grid.push_back(surfaceAt(pose.toLocal({static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F})));
    }
  }
  for (int y = top; y < bottom; ++y) {
    for (int x = left; x < right; ++x) {
      const Surface* s = &grid[static_cast<std::size_t>((y - top + 1) * stride + x - left + 1)];
      const float coverage = smoothStep(0.5F, -0.5F, s->form.distance / s->softness);
      if (shadowReach > 0 && coverage < 1 && s->form.distance < shadowReach) {
        const float closeness = std::min(1.0F, 1 - s->form.distance / shadowReach);
        layer.at(x, y).color = layer.at(x, y).color * (1 - 0.38F * closeness * closeness);
      }
      if (coverage <= 0) continue;
      const float slopeX = (s[1].form.height - s[-1].form.height) / 2;
      const float slopeY = (s[stride].form.height - s[-stride].form.height) / 2;
      layer.cover(x, y, shade(*s, slopeX, slopeY), coverage);
    }
  }
}

void drawStrand(Layer& layer, std::span<const Knot> knots) {
  for (std::size_t i = 1; i < knots.size(); ++i) {
    const Knot &a = knots[i - 1], &b = knots[i];
    const Vec axis = b.p - a.p;
    const float length = std::hypot(axis.x, axis.y);
    if (length <= 0) continue;
    const float reach = std::max(a.width, b.width) / 2 + 1;
    const int left = std::max(layer.left(), static_cast<int>(std::min(a.p.x, b.p.x) - reach));
    const int right = std::min(layer.right(), static_cast<int>(std::max(a.p.x, b.p.x) + reach) + 1);
    const int top = std::max(layer.top(), static_cast<int>(std::min(a.p.y, b.p.y) - reach));
    const int bottom = std::min(layer.bottom(), static_cast<int>(std::max(a.p.y, b.p.y) + reach) + 1);
    for (int y = top; y < bottom; ++y) {
      for (int x = left; x < right; ++x) {
        const Vec d = Vec{static_cast<float>(x) + 0.5F, static_cast<float>(y) + 0.5F} - a.p;
        const float t = (d.x * axis.x + d.y * axis.y) / (length * length);
        if (t < 0 || t >= 1) continue;  // the neighbouring piece draws it
        const float away = std::abs(d.x * axis.y - d.y * axis.x) / length;
        const float width = mix(a.width, b.width, t);
        const float coverage = std::clamp(width / 2 + 0.5F - away, 0.0F, std::min(1.0F, width));
        if (coverage <= 0) continue;
        layer.cover(x, y, mix(a.color, b.color, t), coverage * mix(a.opacity, b.opacity, t));
      }
    }
  }
}

}  // namespace kalvetra::sample
