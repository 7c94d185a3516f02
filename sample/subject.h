// The person in front of the screen.
#pragma once

#include "sample/canvas.h"

namespace kalvetra::sample {

// Draws the person as the camera's open shutter sees it around `seconds` into the shot.
void drawSubject(Layer& picture, float seconds);

// Hair in the coordinates of the head (see subject.cpp): what lies behind the neck, and what frames the face, with the
// loose strands at the outline.
void drawBackHair(Layer& picture, const Pose& head);
void drawFrontHair(Layer& picture, const Pose& head, float seconds);

}  // namespace kalvetra::sample
