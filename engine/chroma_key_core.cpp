// The chroma-key core: every pixel against the backdrop colour that the plate holds at its place.
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

// One pixel seen from its plate pixel.
struct Sight {
  float y;           // luminance of the pixel
  float backdropY;   // reference luminance of the backdrop
  Chroma at;         // chroma of the pixel
  Chroma plate;      // chroma of the plate pixel
  Chroma offset;     // at - plate
  Chroma toGrey;     // grey - at
  float axisLength;  // from the plate's chroma to grey
  Chroma axis;       // unit vector of that axis
  float along;       // position on the axis, 0 at the plate, 1 at grey
  float across;      // distance from the axis: negative on the skin side
};

// The point that sets the key amount, and the chroma left after despill.
struct Cut {
  Chroma keyPoint;
  Chroma despilled;
};

class PlateKey : public PlateKeyGeometry {
 public:
  explicit PlateKey(const KALVETRA_Param& param) : PlateKeyGeometry(param) {}
  void keyPixel(const unsigned char* source, const unsigned char* plate, unsigned char* result) const;
  Treatment treatmentOf(const unsigned char* source, const unsigned char* plate) const {
    return treatmentOf(look(loadColor(source), loadColor(plate)));
  }

 private:
  Treatment treatmentOf(const Sight& s) const;
  Sight look(YIQ pixel, YIQ backdrop) const;
  bool isForeground(const Sight& s) const;
  void keyShadow(const Sight& s, unsigned char* result) const;
  void keyDespilled(const Sight& s, bool skinSide, unsigned char* result) const;
  Cut cut(const Sight& s, bool skinSide) const;
};

Sight PlateKey::look(YIQ pixel, YIQ backdrop) const {
  Sight s;
  s.y = pixel.Y;
  s.backdropY = backdrop.Y + kPlateOffset;
  s.at = chromaOf(pixel);
  s.plate = chromaOf(backdrop);
  s.offset = s.at - s.plate;
  s.toGrey = grey - s.at;
  s.axisLength = length(grey - s.plate);
  s.axis = (grey - s.plate) / s.axisLength;
  s.along = dot(s.axis, s.offset) / s.axisLength;
  s.across = dot(s.offset, quarter(s.axis));
  return s;
}

// Over a grey plate along and across are not numbers, so that every test fails and the pixel is foreground.
bool PlateKey::isForeground(const Sight& s) const {
  if (s.across < 0.0f && dot(skinBound, s.at) > 0.0f) return false;
  if (s.across >= 0.0f && dot(blueBound, s.at) > 0.0f) return false;
  return !(s.across > -25.0f && s.across < 25.0f && s.along < 1.0f);  // truncated, within -24..24
}

Treatment PlateKey::treatmentOf(const Sight& s) const {
  if (isForeground(s)) return Treatment::Foreground;
  // Truncated, within -9..9.
  if (s.across > -10.0f && s.across < 10.0f && s.along < screenGain) return Treatment::NearKey;
  return s.across <= 0.0f ? Treatment::SkinSide : Treatment::BlueSide;
}

void PlateKey::keyPixel(const unsigned char* source, const unsigned char* plate, unsigned char* result) const {
  const Sight s = look(loadColor(source), loadColor(plate));
  const Treatment treatment = treatmentOf(s);
  if (treatment == Treatment::Foreground) {
    storeForeground(source, result);
  } else if (treatment == Treatment::NearKey) {
    keyShadow(s, result);
  } else {
    keyDespilled(s, treatment == Treatment::SkinSide, result);
  }
}

// A pixel of the backdrop's own chroma: a black shadow where it is darker, otherwise gone.
void PlateKey::keyShadow(const Sight& s, unsigned char* result) const {
  const unsigned char opacity = curve(truncToByte(shadowOpacity(s.y, s.backdropY, whiteLimit) * 255.0f));
  storeShadow(result, opacity != 0 && s.y < s.backdropY, opacity);
}

void PlateKey::keyDespilled(const Sight& s, bool skinSide, unsigned char* result) const {
  const Cut c = cut(s, skinSide);
  const float position = 1.0f - dot(s.axis, c.keyPoint - s.at) / s.axisLength;
  float amount = CImagingZEP().LinerInter(position, screenGain, 1.0f, 0.0f, 1.0f);
  if (amount > 1.0f) amount = 1.0f;
  const Unmixed unmixed = unmixLuminance(s.y, s.backdropY, amount);
  const float alpha = stretchOpacity(unmixed.opacity, whiteLimit);
  storeKeyed(result, keyedColor(alpha, s.y, unmixed.luminance, c.despilled), alpha, curve);
}

// `from` moved along `direction` until it meets the line through grey with normal `normal`; toGrey is grey - from.
Chroma meet(Chroma from, Chroma direction, Chroma normal, Chroma toGrey) {
  return from + direction * dot(normal, toGrey) / dot(normal, direction);
}

// The sides differ on purpose: the mixing factor is measured at the bound on the skin side and at the despill line on
// the blue side, and only the blue side fades its despill in the middle band.
Cut PlateKey::cut(const Sight& s, bool skinSide) const {
  const Chroma nearest = s.at + s.axis * dot(s.axis, s.toGrey);
  const float a = std::abs(s.across);
  if (a <= 10.0f) return {nearest, nearest};

  const Chroma bound = skinSide ? skinBound : blueBound;
  const Chroma atBound = meet(s.at, s.axis, bound, s.toGrey);
  const Chroma atDespill = meet(s.at, s.axis, skinSide ? skinDespillAt(s.y) : blueDespill, s.toGrey);
  const Chroma throughPixel = meet(s.plate, s.offset, bound, grey - s.plate);
  const float f = 1.0f - dot(s.axis, (skinSide ? atBound : atDespill) - s.at) / s.axisLength;
  const Chroma despilled = mix(atBound, throughPixel, f);
  if (a >= 25.0f) return {atDespill, despilled};

  const float t = CImagingZEP().LinerInter(a, 10.0f, 25.0f, 0.0f, 1.0f);
  const Chroma keyPoint = mix(nearest, atDespill, t);
  if (dot(bound, s.at) < 0.0f) return {keyPoint, mix(nearest, s.at, t)};
  return {keyPoint, skinSide ? despilled : mix(nearest, despilled, t)};
}

}  // namespace

Treatment kalvetra::plateKeyTreatment(const KALVETRA_Param& param, const unsigned char* source,
                                      const unsigned char* plate) {
  return PlateKey(param).treatmentOf(source, plate);
}

unsigned int CKALVETRA::MakeChromaKeyMaskX9Core32bit14(KALVETRA_Param* param, unsigned char* plate) {
  if (param == nullptr) return 2;
  const PlateKey key(*param);
  const std::size_t bytes = byteCount(param->nWidth, param->nHeight) * 4;
  if (simd::enabled()) {
    simd::PlateColors known(param->nWidth);
    simd::forEachBlock(*param, plate, [&](const simd::KeyRows& rows) {
      simd::keyAgainstPlate(key, simd::ByteOrder::Bgra, rows, known);
    });
    return 0;
  }
  for (std::size_t i = 0; i < bytes; i += 4) key.keyPixel(param->pSrc + i, plate + i, param->pDst + i);
  return 0;
}
