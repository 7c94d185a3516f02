#include "engine/chroma_plane.h"

#include <cmath>

#include "imaging/maths.h"
#include "imaging/numeric.h"

namespace kalvetra {

float length(Chroma a) { return std::sqrt(dot(a, a)); }

Rotation::Rotation(double radians) : cosine_(maths::cos(radians)), sine_(maths::sin(radians)) {}

Chroma Rotation::operator()(Chroma a) const {
  const double i = static_cast<double>(a.I), q = static_cast<double>(a.Q);
  return {static_cast<float>(i * cosine_ - q * sine_), static_cast<float>(i * sine_ + q * cosine_)};
}

Chroma greyChroma() { return chromaOf(CImagingZEP().RGBtoYIQ2(127, 127, 127)); }

Chroma hueNormal(float hue, double quarter) {
  const Chroma direction = chromaOf(CImagingZEP().HLStoYIQ({hue, 128.0f, 30.0f}));
  return Rotation(quarter)(direction / length(direction));
}

ShadowCurve::ShadowCurve(float shadow) : active_(shadow != 1.0f), exponent_((1.0f - shadow) + 1.0f) {
  const double exponent = static_cast<double>(exponent_);
  for (int i = 0; i < 256; ++i) {
    const float x = static_cast<float>(i) / 255.0f;
    const float y = static_cast<float>(maths::pow(static_cast<double>(x), exponent));
    table_[static_cast<std::size_t>(i)] = truncToByte(y * 255.0f + 0.499f);
  }
}

namespace {

constexpr float kDarkest = -50.0f;  // foreground luminances are sought in this range, wider than a picture's
constexpr float kBrightest = 370.0f;

float foregroundLuminance(float y, float backdropY, float amount) {
  const float rest = 1.0f - amount;
  const float inverse = 1.0f / amount;
  if (y > backdropY) return inverse * (y - rest * backdropY);
  // Offset by 100, so that the multiplicative mix also holds at black.
  const double pixel = static_cast<double>(y + 100.0f);
  const double backdrop = maths::pow(static_cast<double>(backdropY + 100.0f), static_cast<double>(rest));
  return static_cast<float>(maths::pow(pixel / backdrop, static_cast<double>(inverse)) - 100.0);
}

}  // namespace

Unmixed unmixLuminance(float y, float backdropY, float amount) {
  float target = y;
  if (amount > 0.0f) {
    target = foregroundLuminance(y, backdropY, amount);
    if (target < kDarkest) target = kDarkest;
    if (target > kBrightest) target = kBrightest;
  } else if (y < backdropY) {
    target = kDarkest;
  } else if (y > backdropY) {
    target = kBrightest;
  }
  // A pixel darker than its backdrop is as opaque as its darkening says.
  const bool darker = target <= backdropY && target != backdropY && y != backdropY;
  if (darker) return {target, (y - backdropY) / (target - backdropY)};
  return {target, amount > 0.0f ? amount : 0.0f};
}

float stretchOpacity(float opacity, float whiteLimit) {
  CImagingZEP imaging;
  return imaging.LinerInter(imaging.LinerInter(opacity, 0.0f, whiteLimit, 0.0f, 1.0f), 0.0f, 1.0f, 0.0f, 1.0f);
}

YIQ keyedColor(float alpha, float y, float foregroundY, Chroma despilled) {
  if (alpha == 0.0f) return {160.0f, 0.0f, 0.0f};
  float luminance = y <= foregroundY ? y : foregroundY;
  if (luminance < 0.0f) luminance = 0.0f;
  if (luminance > 255.0f) luminance = 255.0f;
  return {luminance, despilled.I, despilled.Q};
}

float shadowOpacity(float y, float backdropY, float whiteLimit) {
  return stretchOpacity(y < backdropY ? (y - backdropY) / (-50.0f - backdropY) : 0.0f, whiteLimit);
}

void storeForeground(const unsigned char* source, unsigned char* pixel) {
  for (int c = 0; c < 3; ++c) pixel[c] = source[c];
  pixel[3] = 255;
}

void storeKeyed(unsigned char* pixel, YIQ color, float alpha, const ShadowCurve& curve) {
  const RGB rgb = CImagingZEP().YIQtoRGB2(color);
  pixel[0] = clampToByte(rgb.B);
  pixel[1] = clampToByte(rgb.G);
  pixel[2] = clampToByte(rgb.R);
  pixel[3] = curve(truncToByte(alpha * 255.0f));
}

void storeShadow(unsigned char* pixel, bool shows, unsigned char opacity) {
  for (int c = 0; c < 3; ++c) pixel[c] = shows ? 0 : 160;
  pixel[3] = opacity;
}

}  // namespace kalvetra
