// Geometry in the (I, Q) chroma plane, and what the two keying passes share of it.
#pragma once

#include <array>

#include "engine/KALVETRA_Param.h"
#include "imaging/CImagingZEP.h"

namespace kalvetra {

struct Chroma {
  float I;
  float Q;
};

inline Chroma operator+(Chroma a, Chroma b) { return {a.I + b.I, a.Q + b.Q}; }
inline Chroma operator-(Chroma a, Chroma b) { return {a.I - b.I, a.Q - b.Q}; }
inline Chroma operator*(Chroma a, float k) { return {a.I * k, a.Q * k}; }
inline Chroma operator/(Chroma a, float k) { return {a.I / k, a.Q / k}; }
inline float dot(Chroma a, Chroma b) { return a.I * b.I + a.Q * b.Q; }
float length(Chroma a);

inline Chroma chromaOf(YIQ c) { return {c.I, c.Q}; }

// (1 - f) * a + f * b.
inline Chroma mix(Chroma a, Chroma b, float f) { return a * (1.0f - f) + b * f; }

// A turn about the origin, counter-clockwise, in double precision.
class Rotation {
 public:
  explicit Rotation(double radians);
  Chroma operator()(Chroma a) const;
  double cosine() const { return cosine_; }
  double sine() const { return sine_; }

 private:
  double cosine_;
  double sine_;
};

// pi / 2 as single precision holds it: the passes' bytes depend on its last bits.
inline constexpr double kQuarterTurn = 1.5707963705062866;

// Chroma of the neutral (127, 127, 127), at or very near (0, 0).
Chroma greyChroma();

// Unit normal of the line at `hue` degrees, the hue's direction turned by `quarter` (plus or minus kQuarterTurn).
Chroma hueNormal(float hue, double quarter);

// Shadow curve: opacity v becomes 255 * (v / 255)^(2 - shadow); shadow 1 is the identity and is then not applied.
class ShadowCurve {
 public:
  explicit ShadowCurve(float shadow);
  bool active() const { return active_; }
  float exponent() const { return exponent_; }
  unsigned char operator()(unsigned char opacity) const { return active_ ? table_[opacity] : opacity; }

 private:
  bool active_;
  float exponent_;
  std::array<unsigned char, 256> table_;
};

// The foreground luminance behind a mixed pixel, -50..370, and the opacity that luminance alone speaks for.
struct Unmixed {
  float luminance;
  float opacity;
};

// Takes the backdrop's luminance out of a pixel of luminance `y` that is foreground by `amount` (0..1): below the
// backdrop as a multiplicative mix, above it as a linear one.
Unmixed unmixLuminance(float y, float backdropY, float amount);

// Stretches an opacity so that `whiteLimit` becomes 1, and clamps it to 0..1.
float stretchOpacity(float opacity, float whiteLimit);

// A keying pass loads a pixel of working order as floats, settles in floats what becomes of it, and stores that as
// bytes.

inline YIQ loadColor(const unsigned char* pixel) { return CImagingZEP().RGBtoYIQ2(pixel[2], pixel[1], pixel[0]); }

// The colour of a keyed pixel of luminance y: despilled, or grey 160 where alpha is 0.
YIQ keyedColor(float alpha, float y, float foregroundY, Chroma despilled);

// Opacity of the shadow that a pixel of the backdrop's own chroma is: 0 where it is not darker than the backdrop.
float shadowOpacity(float y, float backdropY, float whiteLimit);

// As it is, and opaque.
void storeForeground(const unsigned char* source, unsigned char* pixel);

// Rounds the colour, and shapes the opacity by the shadow curve.
void storeKeyed(unsigned char* pixel, YIQ color, float alpha, const ShadowCurve& curve);

// Black where the shadow shows, otherwise grey 160.
void storeShadow(unsigned char* pixel, bool shows, unsigned char opacity);

}  // namespace kalvetra
