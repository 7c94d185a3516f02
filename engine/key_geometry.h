// What the keying passes make of a record once, before they look at any pixel. Plain values, shared by the plain and
// the vector forms of a pass.
#pragma once

#include "engine/KALVETRA_Param.h"
#include "engine/chroma_plane.h"

namespace kalvetra {

// Of the colour-key pass.
struct ColorKeyGeometry {
  explicit ColorKeyGeometry(const KALVETRA_Param& param);

  // The skin side's despill normal: bright pixels are despilled towards a boundary turned by up to 30 degrees.
  Chroma skinDespillAt(float y) const;

  float screenGain;  // where the ramp of the key amount starts, 0..0.3
  float whiteLimit;  // the opacity that becomes 1, 0..1
  ShadowCurve curve;
  float keyY;  // luminance of the key colour
  Chroma key, grey;
  Chroma keyToGrey;  // grey - key, and as length, unit vector and unit normal
  float axisLength;
  Chroma axis, axisNormal;
  Chroma skinNormal, blueNormal;    // of the lines at the two hues
  Chroma skinDespill, blueDespill;  // the same turned by the despill angles
};

// Of the chroma-key core.
struct PlateKeyGeometry {
  static constexpr float kPlateOffset = 1.5f;  // the plate counts as a little brighter than it is

  explicit PlateKeyGeometry(const KALVETRA_Param& param);

  Chroma skinDespillAt(float y) const;

  float screenGain;
  float whiteLimit;
  ShadowCurve curve;
  Chroma grey;
  Rotation quarter{kQuarterTurn};
  Chroma skinBound, blueBound;      // normals of the lines at the two hue bounds
  Chroma skinDespill, blueDespill;  // the same turned by the despill angles
};

// Of the bound of the backdrop's sector at that hue, in the chroma plane. Parallel to the Q axis it is infinite, and
// the test against it fails at I = 0.
float boundSlope(int hue);

// Of background extraction.
struct ExtractionGeometry {
  static constexpr int kLuminances = 256;
  static constexpr float kTolerance = 20.0f;  // chroma distance from the expected key colour

  float slope1, slope2;                            // of the hue sector's two bounds
  float tableI[kLuminances], tableQ[kLuminances];  // the key colour's chroma at each luminance
};

}  // namespace kalvetra
