// What the engine makes of the reduced picture: with its own estimate, a second opinion on what is screen; with the
// fitted plate, the proof of it.
#pragma once

#include <string>

#include "engine/render.h"
#include "plates/fit_picture.h"

namespace kalvetra::plates {

// The matte, 0..1, for a green key colour at the default settings: the user's finish says nothing about the screen.
// `plate` may be null, for the engine's own.
Plane keyedAlpha(const Picture& picture, const std::array<double, 3>& keyColor, const KnownPlate* plate,
                 const Workers* workers);

// How surely the engine keys a pixel away, 0..1, away from all that its matte `own` leaves to be seen. It follows paint
// that grows paler step by step, such as a lamp's glare, which no model of one paint explains; but also what is thin of
// a veil, which is why its word counts only away from the subject. Where the picture is `calm` (0..1), a trace that it
// leaves is shade, and less is made of it.
Plane clearInOwnKey(const Plane& own, const Plane& calm, float unit, const Workers* workers);

// What speaks against the fit as a sentence, empty where nothing does: `bare` (0..1) is what it was made from, `own`
// and `fitted` are the mattes.
std::string doubtsOf(const Plane& bare, const Plane& own, const Plane& fitted);

}  // namespace kalvetra::plates
