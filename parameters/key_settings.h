// The user's settings of one key, and the way from them to the engine.
#pragma once

#include <array>

namespace kalvetra {

// All user parameters, in user units; ranges and meanings stand in parameter_table.h. Toggles are 0 or 1.
struct KeySettings {
  int view;                        // 0 source, 1 matte, 2 result
  std::array<double, 3> keyColor;  // red, green, blue, each 0..1; black keys nothing
  int smoothBG;
  int shadow;
  int clipBlack;
  int clipWhite;
  int deBlocking;
  int deBlockValue;
  int edgeContract;
  int contractMask;
  int contractThreshold;
  int edgeBlur;
  int maskBlurRadius;
  int maskBlurValue;
  int skinHue;
  int blueHue;
  int despillWhite;
  int despillSkin;
  int despillBlue;
  int screenGain;
  bool operator==(const KeySettings&) const = default;
};

// Every setting at the table's default.
KeySettings defaultSettings();

// Renders one frame. Both frames are packed, of width x height pixels in host order (bytes alpha, red, green, blue),
// straight alpha; the caller owns them. Throws std::bad_alloc when working memory runs out.
void renderFrame(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width, int height);

// Renders a frame of two interlaced fields, each keyed for itself: rows 0, 2, 4 ... are one, rows 1, 3, 5 ... the
// other. Only edge contraction and edge blur work on the frame as a whole. Otherwise like renderFrame.
void renderFields(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width,
                  int height);

// Writes the frame's estimated backdrop, exactly the plate that the keyer makes of it; the result is opaque. Where
// nothing is estimated (smooth-bg off, or a key colour of black) it writes the uniform key colour and answers false.
// Otherwise like renderFrame.
bool renderPlate(const KeySettings& settings, const unsigned char* input, unsigned char* output, int width, int height);

// A host's frames may differ in size: the area that they have in common is rendered, the rest of the output is left
// alone.
struct FrameSize {
  int width;
  int height;
};
struct RenderScale {
  double x;
  double y;
};
void renderFrame(const KeySettings& settings, const unsigned char* input, FrameSize inputSize, unsigned char* output,
                 FrameSize outputSize, RenderScale scale);

}  // namespace kalvetra
