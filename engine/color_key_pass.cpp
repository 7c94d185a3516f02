// The colour-key pass: every pixel against the one key colour.
#include <cmath>
#include <cstddef>

#include "cpu/vectors.h"
#include "engine/CKALVETRA.h"
#include "engine/chroma_plane.h"
#include "engine/key_geometry.h"
#include "engine/simd/kernels.h"
#include "engine/treatment.h"
#include "imaging/numeric.h"

using namespace kalvetra;

namespace {

// One pixel seen from the key colour.
struct Sight {
  float y;        // luminance
  Chroma at;      // chroma
  Chroma toKey;   // at - key chroma
  Chroma toGrey;  // grey - at
  float along;    // position on the axis from the key, 0, to grey, 1
  float side;     // distance from the axis: negative on the skin side, positive on the blue side
};

// Where the pixel's line along the axis is cut (sets the opacity), and the chroma left after despill.
struct Cut {
  Chroma boundary;
  Chroma despilled;
};

class ColorKey : public ColorKeyGeometry {
 public:
  explicit ColorKey(const KALVETRA_Param& param) : ColorKeyGeometry(param) {}
  void keyPixel(const unsigned char* source, unsigned char* result) const;
  Treatment treatmentOf(const unsigned char* source) const { return treatmentOf(look(loadColor(source))); }

 private:
  Treatment treatmentOf(const Sight& s) const;
  Sight look(YIQ color) const;
  bool inRegion(const Sight& s) const;
  void keyNear(const Sight& s, unsigned char* result) const;
  void keyFar(const Sight& s, const Cut& cut, unsigned char* result) const;
  Cut cutSkinSide(const Sight& s) const;
  Cut cutBlueSide(const Sight& s) const;
  Chroma nearestToGrey(const Sight& s) const { return s.at + axis * dot(axis, s.toGrey); }
  // Where the pixel's line along the axis meets the line through grey with normal m.
  Chroma alongAxis(const Sight& s, Chroma m) const { return s.at + axis * (dot(m, s.toGrey) / dot(m, axis)); }
  // Where the ray from the key through the pixel meets the line through grey with normal m.
  Chroma throughPixel(const Sight& s, Chroma m) const { return key + s.toKey * (dot(m, keyToGrey) / dot(m, s.toKey)); }
  float depth(const Sight& s, Chroma point) const { return 1.0f - dot(axis, point - s.at) / axisLength; }
};

Sight ColorKey::look(YIQ color) const {
  const Chroma at = chromaOf(color);
  const Chroma toKey = at - key;
  return {color.Y, at, toKey, grey - at, dot(axis, toKey) / axisLength, dot(axisNormal, toKey)};
}

// With a grey key colour along and side are not numbers, so that every test fails and the pixel is foreground.
bool ColorKey::inRegion(const Sight& s) const {
  if (s.side < 0.0f && dot(skinNormal, s.at) > 0.0f) return true;
  if (s.side >= 0.0f && dot(blueNormal, s.at) > 0.0f) return true;
  return s.side > -20.0f && s.side < 20.0f && s.along < 1.0f;  // truncated, within -19..19
}

Treatment ColorKey::treatmentOf(const Sight& s) const {
  if (!inRegion(s)) return Treatment::Foreground;
  // Truncated, within -4..4.
  if (s.side > -5.0f && s.side < 5.0f && s.along < screenGain) return Treatment::NearKey;
  return s.side <= 0.0f ? Treatment::SkinSide : Treatment::BlueSide;
}

void ColorKey::keyPixel(const unsigned char* source, unsigned char* result) const {
  const Sight s = look(loadColor(source));
  const Treatment treatment = treatmentOf(s);
  if (treatment == Treatment::Foreground) {
    storeForeground(source, result);
  } else if (treatment == Treatment::NearKey) {
    keyNear(s, result);
  } else {
    keyFar(s, treatment == Treatment::SkinSide ? cutSkinSide(s) : cutBlueSide(s), result);
  }
}

// A pixel of the key's own chroma: a black shadow where it is darker than the key, otherwise gone.
void ColorKey::keyNear(const Sight& s, unsigned char* result) const {
  const float level = shadowOpacity(s.y, keyY, whiteLimit) * 255.0f;
  const unsigned char opacity = curve(truncToByte(level));
  // Without the curve, the level counts before it is truncated: the faintest shadow is black, though its byte is 0.
  const bool gone = curve.active() ? opacity == 0 : !(level > 0.0f);
  storeShadow(result, !gone && s.y < keyY, opacity);
}

void ColorKey::keyFar(const Sight& s, const Cut& cut, unsigned char* result) const {
  const float amount = CImagingZEP().LinerInter(depth(s, cut.boundary), screenGain, 1.0f, 0.0f, 1.0f);
  const Unmixed unmixed = unmixLuminance(s.y, keyY, amount);
  const float alpha = stretchOpacity(unmixed.opacity, whiteLimit);
  storeKeyed(result, keyedColor(alpha, s.y, unmixed.luminance, cut.despilled), alpha, curve);
}

// The two sides differ on purpose: where the despill weight is measured, and whether the middle band fades it.
Cut ColorKey::cutSkinSide(const Sight& s) const {
  const float a = std::abs(s.side);
  const Chroma nearest = nearestToGrey(s);
  const Chroma atHue = alongAxis(s, skinNormal);
  if (a <= 5.0f) return {nearest, atHue};
  const float f = CImagingZEP().LinerInter(a, 5.0f, 20.0f, 0.0f, 1.0f);
  const Chroma turned = alongAxis(s, skinDespillAt(s.y));
  const Chroma boundary = a < 20.0f ? mix(nearest, turned, f) : turned;
  if (a < 20.0f && dot(skinNormal, s.at) < 0.0f) return {boundary, mix(nearest, s.at, f)};
  return {boundary, mix(atHue, throughPixel(s, skinNormal), depth(s, atHue))};
}

Cut ColorKey::cutBlueSide(const Sight& s) const {
  const float a = std::abs(s.side);
  const Chroma nearest = nearestToGrey(s);
  if (a <= 5.0f) return {nearest, nearest};
  const float f = CImagingZEP().LinerInter(a, 5.0f, 20.0f, 0.0f, 1.0f);
  const Chroma turned = alongAxis(s, blueDespill);
  const Chroma boundary = a < 20.0f ? mix(nearest, turned, f) : turned;
  if (a < 20.0f && dot(blueNormal, s.at) < 0.0f) return {boundary, mix(nearest, s.at, f)};
  const Chroma despilled = mix(alongAxis(s, blueNormal), throughPixel(s, blueNormal), depth(s, turned));
  return {boundary, a < 20.0f ? mix(nearest, despilled, f) : despilled};
}

}  // namespace

Treatment kalvetra::colorKeyTreatment(const KALVETRA_Param& param, const unsigned char* source) {
  return ColorKey(param).treatmentOf(source);
}

unsigned int CKALVETRA::MakeMask32bit007_2(KALVETRA_Param* param) {
  if (param == nullptr) return 2;
  const ColorKey key(*param);
  const std::size_t bytes = byteCount(param->nWidth, param->nHeight) * 4;
  if (simd::enabled()) {
    simd::forEachBlock(*param, nullptr,
                       [&](const simd::KeyRows& rows) { simd::keyAgainstColor(key, simd::ByteOrder::Bgra, rows); });
    return 0;
  }
  for (std::size_t i = 0; i < bytes; i += 4) key.keyPixel(param->pSrc + i, param->pDst + i);
  return 0;
}
