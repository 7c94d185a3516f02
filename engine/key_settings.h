// The user's settings of one key, in user units: the one record of them, from hosts' parameters to the engine.
#pragma once

#include <array>

namespace kalvetra {

// Toggles are 0 or 1; deBlocking, edgeContract and edgeBlur turn on what stands after them up to the next blank line. A
// field that is added begins with the value that does nothing, `int gain = 100;`: KalvetraFinalCut, whose arguments are
// fixed, leaves it so.
struct KeySettings {
  int view;                        // as in KalvetraFinalCut.h: 0 source, 1 matte, 2 result
  std::array<double, 3> keyColor;  // red, green, blue, each 0..1; black (none above 1/255) keys nothing
  int smoothBG;                    // toggle: key against an estimated backdrop instead of the one colour
  int shadow;                      // 0..100
  int clipBlack;                   // 0..100, percent of the matte
  int clipWhite;

  int deBlocking;
  int deBlockValue;  // 1..10 pixels

  int edgeContract;
  int contractMask;       // 1..10 steps of a pixel
  int contractThreshold;  // 0..50 levels

  int edgeBlur;
  int maskBlurRadius;  // 1..100 pixels
  int maskBlurValue;   // 0..100 percent

  int skinHue;  // -50..50, moves the hue bounds of the backdrop's sector
  int blueHue;
  int despillWhite;  // 0..100
  int despillSkin;
  int despillBlue;
  int screenGain;  // 0..100

  int screen = 0;   // 0 green, 1 blue: green and blue change places before keying and after
  int plate = 0;    // where background plates come from, see kPlateEntries; for those who look after a clip: render()
                    // does not read it
  int refine = 0;   // 0 off, 1 on: what refine/refine.h does after the key at full depth; render() does not read it
  int despill = 0;  // 0 the engine's, 1 by material: likewise
  bool operator==(const KeySettings&) const = default;
};

}  // namespace kalvetra
