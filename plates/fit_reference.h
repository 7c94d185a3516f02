// What the engine makes of the picture with its own estimate of the backdrop: a second opinion on what is screen.
#pragma once

#include "engine/key_settings.h"
#include "plates/fit_picture.h"

namespace kalvetra::plates {

// How surely the engine keys a pixel away, 0..1, away from all that it leaves to be seen. It follows paint that grows
// paler step by step, such as a lamp's glare, which no model of one paint explains; but also what is thin of a veil,
// which is why its word counts only away from the subject.
// Where the picture is `calm` (0..1), a trace that it leaves is shade, and less is made of it.
Plane clearInOwnKey(const Picture& picture, const KeySettings& settings, const Plane& calm, const Workers* workers);

}  // namespace kalvetra::plates
