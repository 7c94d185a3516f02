// The colour-key pass: every pixel against the one key colour.
#include <cmath>
#include <cstddef>
#include <numbers>

#include "engine/CKALVETRA.h"
#include "engine/chroma_plane.h"
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

class ColorKey {
 public:
  explicit ColorKey(const KALVETRA_Param& param);
  void keyPixel(const unsigned char* source, unsigned char* result) const;

 private:
  Sight look(const unsigned char* source) const;
  bool inRegion(const Sight& s) const;
  void keyNear(const Sight& s, unsigned char* result) const;
  void keyFar(const Sight& s, unsigned char* result) const;
  Cut cutSkinSide(const Sight& s) const;
  Cut cutBlueSide(const Sight& s) const;
  Chroma skinBoundary(float y) const;
  Chroma nearestToGrey(const Sight& s) const { return s.at + axis_ * dot(axis_, s.toGrey); }
  // Where the pixel's line along the axis meets the line through grey with normal m.
  Chroma alongAxis(const Sight& s, Chroma m) const { return s.at + axis_ * (dot(m, s.toGrey) / dot(m, axis_)); }
  // Where the ray from the key through the pixel meets the line through grey with normal m.
  Chroma throughPixel(const Sight& s, Chroma m) const {
    return key_ + s.toKey * (dot(m, keyToGrey_) / dot(m, s.toKey));
  }
  float depth(const Sight& s, Chroma point) const { return 1.0f - dot(axis_, point - s.at) / axisLength_; }

  float screenGain_;
  float whiteLimit_;
  ShadowCurve curve_;
  float keyY_;
  Chroma key_, grey_;
  Chroma keyToGrey_;  // grey - key, and as length, unit vector and unit normal
  float axisLength_;
  Chroma axis_, axisNormal_;
  Chroma skinNormal_, blueNormal_;    // of the lines at the two hues
  Chroma skinDespill_, blueDespill_;  // the same turned by the despill angles
};

double radians(float degrees) { return static_cast<double>(degrees) * std::numbers::pi / 180.0; }

ColorKey::ColorKey(const KALVETRA_Param& param)
    : screenGain_(static_cast<float>(param.nScreenGain[0]) * 0.01f),
      whiteLimit_(static_cast<float>(param.nDespillWhite[0]) * -0.01f + 1.0f),
      curve_(static_cast<float>(param.nShadow[0]) * 0.01f) {
  const YIQ key = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]);
  keyY_ = key.Y;
  key_ = chromaOf(key);
  grey_ = greyChroma();
  skinNormal_ = hueNormal(param.nSkinHue[0], -kQuarterTurn);
  blueNormal_ = hueNormal(param.nBlueHue[0], kQuarterTurn);
  skinDespill_ = Rotation(radians(-static_cast<float>(param.nDespillSkin[0])))(skinNormal_);
  blueDespill_ = Rotation(radians(static_cast<float>(param.nDespillBlue[0])))(blueNormal_);
  keyToGrey_ = grey_ - key_;
  axisLength_ = length(keyToGrey_);
  axis_ = keyToGrey_ / axisLength_;
  axisNormal_ = Rotation(kQuarterTurn)(axis_);
}

Sight ColorKey::look(const unsigned char* source) const {
  const YIQ color = CImagingZEP().RGBtoYIQ2(source[2], source[1], source[0]);
  const Chroma at = chromaOf(color);
  const Chroma toKey = at - key_;
  return {color.Y, at, toKey, grey_ - at, dot(axis_, toKey) / axisLength_, dot(axisNormal_, toKey)};
}

// With a grey key colour along and side are not numbers, so that every test fails and the pixel is foreground.
bool ColorKey::inRegion(const Sight& s) const {
  if (s.side < 0.0f && dot(skinNormal_, s.at) > 0.0f) return true;
  if (s.side >= 0.0f && dot(blueNormal_, s.at) > 0.0f) return true;
  return s.side > -20.0f && s.side < 20.0f && s.along < 1.0f;  // truncated, within -19..19
}

void ColorKey::keyPixel(const unsigned char* source, unsigned char* result) const {
  const Sight s = look(source);
  if (!inRegion(s)) {
    for (int c = 0; c < 3; ++c) result[c] = source[c];
    result[3] = 255;
  } else if (s.side > -5.0f && s.side < 5.0f && s.along < screenGain_) {  // truncated, within -4..4
    keyNear(s, result);
  } else {
    keyFar(s, result);
  }
}

// A pixel of the key's own chroma: a black shadow where it is darker than the key, otherwise gone.
void ColorKey::keyNear(const Sight& s, unsigned char* result) const {
  const bool darker = s.y < keyY_;
  const float alpha = stretchOpacity(darker ? (s.y - keyY_) / (-50.0f - keyY_) : 0.0f, whiteLimit_);
  const float level = alpha * 255.0f;
  const unsigned char linear = truncToByte(level);
  const unsigned char opacity = curve_(linear);
  // Without the curve, the level counts before it is truncated: the faintest shadow is black, though its byte is 0.
  const bool gone = curve_.active() ? opacity == 0 : !(level > 0.0f);
  const unsigned char grey = gone || !darker ? 160 : 0;
  for (int c = 0; c < 3; ++c) result[c] = grey;
  result[3] = opacity;
}

void ColorKey::keyFar(const Sight& s, unsigned char* result) const {
  const Cut cut = s.side <= 0.0f ? cutSkinSide(s) : cutBlueSide(s);
  const float amount = CImagingZEP().LinerInter(depth(s, cut.boundary), screenGain_, 1.0f, 0.0f, 1.0f);
  const Unmixed unmixed = unmixLuminance(s.y, keyY_, amount);
  writeKeyed(result, stretchOpacity(unmixed.opacity, whiteLimit_), s.y, unmixed.luminance, cut.despilled, curve_);
}

// Bright pixels are despilled towards a boundary turned by up to 30 degrees.
Chroma ColorKey::skinBoundary(float y) const {
  if (!(y > 200.0f)) return skinDespill_;
  const float brightness = CImagingZEP().LinerInter(y, 200.0f, 255.0f, 0.0f, 1.0f);
  return Rotation(radians(brightness * -30.0f))(skinDespill_);
}

// The two sides differ on purpose: where the despill weight is measured, and whether the middle band fades it.
Cut ColorKey::cutSkinSide(const Sight& s) const {
  const float a = std::abs(s.side);
  const Chroma nearest = nearestToGrey(s);
  const Chroma atHue = alongAxis(s, skinNormal_);
  if (a <= 5.0f) return {nearest, atHue};
  const float f = CImagingZEP().LinerInter(a, 5.0f, 20.0f, 0.0f, 1.0f);
  const Chroma turned = alongAxis(s, skinBoundary(s.y));
  const Chroma boundary = a < 20.0f ? mix(nearest, turned, f) : turned;
  if (a < 20.0f && dot(skinNormal_, s.at) < 0.0f) return {boundary, mix(nearest, s.at, f)};
  return {boundary, mix(atHue, throughPixel(s, skinNormal_), depth(s, atHue))};
}

Cut ColorKey::cutBlueSide(const Sight& s) const {
  const float a = std::abs(s.side);
  const Chroma nearest = nearestToGrey(s);
  if (a <= 5.0f) return {nearest, nearest};
  const float f = CImagingZEP().LinerInter(a, 5.0f, 20.0f, 0.0f, 1.0f);
  const Chroma turned = alongAxis(s, blueDespill_);
  const Chroma boundary = a < 20.0f ? mix(nearest, turned, f) : turned;
  if (a < 20.0f && dot(blueNormal_, s.at) < 0.0f) return {boundary, mix(nearest, s.at, f)};
  const Chroma despilled = mix(alongAxis(s, blueNormal_), throughPixel(s, blueNormal_), depth(s, turned));
  return {boundary, a < 20.0f ? mix(nearest, despilled, f) : despilled};
}

}  // namespace

unsigned int CKALVETRA::MakeMask32bit007_2(KALVETRA_Param* param) {
  if (param == nullptr) return 2;
  const ColorKey key(*param);
  const std::size_t bytes = byteCount(param->nWidth, param->nHeight) * 4;
  for (std::size_t i = 0; i < bytes; i += 4) key.keyPixel(param->pSrc + i, param->pDst + i);
  return 0;
}
