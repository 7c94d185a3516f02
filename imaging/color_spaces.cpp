// Conversions between 8-bit RGB, YIQ and the polar HLS, and the interpolation that key parameters go through.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "imaging/CImagingZEP.h"
#include "imaging/maths.h"
#include "imaging/numeric.h"

YIQ CImagingZEP::RGBtoYIQ(unsigned char R, unsigned char G, unsigned char B) {
  const int r = R, g = G, b = B;
  // Right shifts of negative values floor, which the tables built from these integers rely on.
  return {static_cast<float>((19595 * r + 38470 * g + 7471 * b) >> 16),
          static_cast<float>((39059 * r - 18022 * g - 21037 * b) >> 16),
          static_cast<float>((13894 * r - 34275 * g + 20382 * b) >> 16)};
}

YIQ CImagingZEP::RGBtoYIQ2(unsigned char R, unsigned char G, unsigned char B) {
  const float r = R, g = G, b = B;
  return {r * 0.299f + g * 0.587f + b * 0.114f, r * 0.596f + g * -0.275f + b * -0.321f,
          r * 0.212f + g * -0.523f + b * 0.311f};
}

RGB CImagingZEP::YIQtoRGB2(YIQ c) {
  using kalvetra::truncToInt;
  return {truncToInt(((c.I * 0.956f + c.Y) + c.Q * 0.62f) + 0.5f),
          truncToInt(((c.I * -0.272f + c.Y) + c.Q * -0.647f) + 0.5f),
          truncToInt(((c.Y + c.I * -1.108f) + c.Q * 1.705f) + 0.5f)};
}

HLS CImagingZEP::RGBtoHLS(unsigned char R, unsigned char G, unsigned char B) {
  const float r = R, g = G, b = B;
  const float luma = r * 0.299f + g * 0.587f + b * 0.114f;
  const float dR = r - luma, dB = b - luma;
  float h = static_cast<float>(kalvetra::maths::atan2(static_cast<double>(dR), static_cast<double>(dB)));
  h = h * 180.0f / std::numbers::pi_v<float>;
  if (h < 0.0f) h += 360.0f;
  return {h, luma, std::sqrt(dR * dR + dB * dB)};
}

namespace {

// Hue folded into -180..180.
float foldHue(float hue) {
  const auto turns = static_cast<std::int64_t>(kalvetra::truncToInt(hue / 360.0f));
  const float h = hue - static_cast<float>(turns * 360);
  if (h > 180.0f) return h - 360.0f;
  if (h < -180.0f) return h + 360.0f;
  return h;
}

}  // namespace

YIQ CImagingZEP::HLStoYIQ(HLS hls) {
  const double degrees = static_cast<double>(foldHue(hls.H));
  const double angle = static_cast<double>(static_cast<float>(degrees * std::numbers::pi / 180.0));
  const double s = static_cast<double>(hls.S);
  const float dR = static_cast<float>(kalvetra::maths::sin(angle) * s);
  const float dB = static_cast<float>(kalvetra::maths::cos(angle) * s);

  const double r = static_cast<double>(hls.L + dR);
  const double b = static_cast<double>(dB + hls.L);
  // Green follows from Y = 0.299 R + 0.587 G + 0.114 B.
  const double dG = (static_cast<double>(dR) * 0.299 + static_cast<double>(dB) * 0.114) / -0.587;
  const double g = static_cast<double>(static_cast<float>(static_cast<double>(hls.L) + dG));

  return {static_cast<float>(0.299 * r + 0.587 * g + 0.114 * b), static_cast<float>(0.596 * r - 0.275 * g - 0.321 * b),
          static_cast<float>(0.212 * r - 0.523 * g + 0.311 * b)};
}

float CImagingZEP::LinerInter(float x, float x0, float x1, float y0, float y1) {
  if (x0 >= x) return y0;
  if (!(x > x0 && x1 > x)) return y1;
  return (y1 - y0) / (x1 - x0) * (x - x0) + y0;
}

int CImagingZEP::LinerInter(int x, int x0, int x1, int y0, int y1) {
  if (x <= x0) return y0;
  if (x >= x1) return y1;
  // Differences of far-apart arguments need more than 32 bits.
  const auto difference = [](int a, int b) { return static_cast<float>(std::int64_t{a} - std::int64_t{b}); };
  return kalvetra::truncToInt(difference(y1, y0) / difference(x1, x0) * difference(x, x0) + static_cast<float>(y0));
}

int CImagingZEP::Align8(int n) {
  if (n % 4 == 0) return n;
  const std::int64_t aligned = std::int64_t{n} - n % 4 + 4;
  return static_cast<int>(std::min<std::int64_t>(aligned, std::numeric_limits<int>::max()));
}
