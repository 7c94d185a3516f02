// What the render entry does with a frame: preparation, pipeline, finish.
#pragma once

#include "engine/streamed_frame.h"

namespace kalvetra {

// The render entry's arguments in user units; their ranges stand in KalvetraFinalCut.h. Toggles are 0 or 1.
struct RenderValues {
  int view;
  double keyRed, keyGreen, keyBlue;  // each 0..1
  int smoothBG;
  int shadow;
  int clipBlack, clipWhite;
  int deBlocking, deBlockValue;
  int edgeContract, contractMask, contractThreshold;
  int edgeBlur, maskBlurRadius, maskBlurValue;
  int skinHue, blueHue;
  int despillWhite, despillSkin, despillBlue;
  int screenGain;
};

// How the rows of a frame belong together.
enum class Scan {
  Whole,   // one picture
  Fields,  // two pictures taken apart in time, line by line in turn; only contraction and edge blur see both together
};

// Renders one view of `frame`. A frame without pixels is left alone. Throws std::bad_alloc when memory of its own runs
// out; what the pipeline's passes meet is answered by a result that is empty or partly keyed.
void renderView(const HostFrame& frame, const RenderValues& values, Scan scan);

// Writes the backdrop that the frame would be keyed against, opaque: the background plate, or the one key colour,
// answered by false, where smoothBG is off, nothing is keyed or a value is out of range. At most 65535 pixels on a
// side. Throws std::bad_alloc.
bool renderPlateOf(const HostFrame& frame, const RenderValues& values);

}  // namespace kalvetra
