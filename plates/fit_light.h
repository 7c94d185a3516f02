// Which of the screen's paint is bare and lit: what is darker than its surroundings beside the subject is shadow or
// hair.
#pragma once

#include "plates/fit_picture.h"

namespace kalvetra::plates {

// Where the light is as smooth as on the bare screen, 0..1: shade and falls of light are, hair and edges are not.
// `sure` (0..1) is where the screen is.
Plane calmOf(const Plane& light, const Plane& sure, float unit, const Workers* workers);

// How near the subject is, 0..1: 1 on it, falling to 0 over a sixth of the picture's height. `alike` is how surely a
// pixel is of the screen's paint, 0..1.
struct Subject {
  Plane core;  // not of the screen, and not thin
  Plane near;
};
Subject subjectOf(const Plane& alike, float unit, const Workers* workers);

// How surely a pixel of the screen's paint shows it in full light, 0..1. Beside the subject light falls only gently;
// further away whatever is seen is the screen's light, folds and shade included.
Plane litShare(const Plane& light, const Plane& alike, const Subject& subject, float unit, const Workers* workers);

}  // namespace kalvetra::plates
