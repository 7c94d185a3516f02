#include "engine/key_geometry.h"

#include <numbers>

#include "imaging/CImagingZEP.h"

namespace kalvetra {

namespace {

// The two passes turn degrees into radians in different precision, and their bytes depend on it.
double preciseRadians(float degrees) { return static_cast<double>(degrees) * std::numbers::pi / 180.0; }
double singleRadians(float degrees) { return static_cast<double>(degrees * std::numbers::pi_v<float> / 180.0f); }

// Degrees by which a pixel of luminance y turns the skin side's despill normal.
float brightTurn(float y) { return CImagingZEP().LinerInter(y, 200.0f, 255.0f, 0.0f, 1.0f) * -30.0f; }

}  // namespace

ColorKeyGeometry::ColorKeyGeometry(const KALVETRA_Param& param)
    : screenGain(static_cast<float>(param.nScreenGain[0]) * 0.01f),
      whiteLimit(static_cast<float>(param.nDespillWhite[0]) * -0.01f + 1.0f),
      curve(static_cast<float>(param.nShadow[0]) * 0.01f) {
  const YIQ keyColor = CImagingZEP().RGBtoYIQ2(param.keyColor[0][0], param.keyColor[1][0], param.keyColor[2][0]);
  keyY = keyColor.Y;
  key = chromaOf(keyColor);
  grey = greyChroma();
  skinNormal = hueNormal(param.nSkinHue[0], -kQuarterTurn);
  blueNormal = hueNormal(param.nBlueHue[0], kQuarterTurn);
  skinDespill = Rotation(preciseRadians(-static_cast<float>(param.nDespillSkin[0])))(skinNormal);
  blueDespill = Rotation(preciseRadians(static_cast<float>(param.nDespillBlue[0])))(blueNormal);
  keyToGrey = grey - key;
  axisLength = length(keyToGrey);
  axis = keyToGrey / axisLength;
  axisNormal = Rotation(kQuarterTurn)(axis);
}

Chroma ColorKeyGeometry::skinDespillAt(float y) const {
  return y > 200.0f ? Rotation(preciseRadians(brightTurn(y)))(skinDespill) : skinDespill;
}

PlateKeyGeometry::PlateKeyGeometry(const KALVETRA_Param& param)
    : screenGain(0.01f * static_cast<float>(param.nScreenGain[0])),
      whiteLimit(1.0f - 0.01f * static_cast<float>(param.nDespillWhite[0])),
      curve(static_cast<float>(param.nShadow[0]) * 0.01f),
      grey(greyChroma()),
      skinBound(hueNormal(param.nSkinHue[0], -kQuarterTurn)),
      blueBound(hueNormal(param.nBlueHue[0], kQuarterTurn)),
      skinDespill(Rotation(singleRadians(-static_cast<float>(param.nDespillSkin[0])))(skinBound)),
      blueDespill(Rotation(singleRadians(static_cast<float>(param.nDespillBlue[0])))(blueBound)) {}

Chroma PlateKeyGeometry::skinDespillAt(float y) const {
  return y > 200.0f ? Rotation(singleRadians(brightTurn(y)))(skinDespill) : skinDespill;
}

float boundSlope(int hue) {
  const YIQ bound = CImagingZEP().HLStoYIQ({static_cast<float>(hue), 128.0f, 50.0f});
  return bound.Q / bound.I;
}

}  // namespace kalvetra
