#include "analysis/mixture.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "engine/chroma_plane.h"

namespace kalvetra {

namespace {

constexpr float kSpillDoubt = 0.05f;  // against taking thrown light for the cause

Chroma chromaPlaneOf(const Rgb& c) {
  return {0.596f * c[0] - 0.275f * c[1] - 0.321f * c[2], 0.212f * c[0] - 0.523f * c[1] + 0.311f * c[2]};
}

}  // namespace

Rgb operator-(const Rgb& a, const Rgb& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
float dot(const Rgb& a, const Rgb& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
float length(const Rgb& a) { return std::sqrt(dot(a, a)); }
float luma(const Rgb& c) { return 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2]; }
float greenExcess(const Rgb& c) { return c[1] - (c[0] + c[2]) / 2; }

RgbPlanes planesOf(const unsigned char* argb, int width, int height) {
  RgbPlanes planes{Plane(width, height), Plane(width, height), Plane(width, height)};
  for (std::size_t i = 0; i < planes[0].values.size(); ++i) {
    for (std::size_t c = 0; c < 3; ++c) planes[c][i] = argb[i * 4 + 1 + c];
  }
  return planes;
}

float paintDistance(const Rgb& a, const Rgb& b) {
  const float sumA = std::max(a[0] + a[1] + a[2], 1.0f), sumB = std::max(b[0] + b[1] + b[2], 1.0f);
  return std::hypot(a[0] / sumA - b[0] / sumB, a[2] / sumA - b[2] / sumB);
}

Sight look(const Rgb& color, const Rgb& screen) {
  const Chroma c = chromaPlaneOf(color), s = chromaPlaneOf(screen);
  const float strength = std::max(length(s), 1.0f);
  return {dot(c, s) / (strength * strength), (c.Q * s.I - c.I * s.Q) / strength};
}

float hueDistance(const Rgb& a, const Rgb& b) {
  const Chroma c = chromaPlaneOf(a), d = chromaPlaneOf(b);
  return std::atan2(std::abs(c.I * d.Q - c.Q * d.I), dot(c, d)) * 180.0f / std::numbers::pi_v<float>;
}

Mixture unmix(const Rgb& offset, const Rgb& way, const Rgb& screen) {
  const float ww = dot(way, way), wl = dot(way, screen), ll = dot(screen, screen) * (1.0f + kSpillDoubt);
  const float wo = dot(way, offset), lo = dot(screen, offset);
  const float alone = std::clamp(wo / ww, 0.0f, 1.0f);
  const float determinant = ww * ll - wl * wl;
  if (determinant <= 1e-3f * ww * ll) return {alone, 0.0f};
  const float spill = (ww * lo - wl * wo) / determinant;
  if (spill <= 0.0f) return {alone, 0.0f};
  const float alpha = std::clamp((ll * wo - wl * lo) / determinant, 0.0f, 1.0f);
  return {alpha, std::min(spill, kMostSpill * alpha)};
}

}  // namespace kalvetra
