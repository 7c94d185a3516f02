// What the engine makes of the reduced picture: with its own estimate, a second opinion on what is screen; with the
// fitted plate, the proof of it.
#pragma once

#include <string>
#include <vector>

#include "engine/render.h"
#include "plates/fit_paint.h"

namespace kalvetra::plates {

// The reduced picture as the engine keys it, for a green key colour at the default settings: the user's finish says
// nothing about the screen. Refers to `workers`.
class ReducedKey {
 public:
  ReducedKey(const Picture& picture, const std::array<double, 3>& keyColor, const Workers* workers);
  // The matte, 0..1; `plate` may be null, for the engine's own.
  Plane alpha(const KnownPlate* plate) const;
  Planes ownPlate() const;  // whole levels
  // The same without steps: the mean over the picture as it rounds where it is a little darker and brighter.
  Planes ownSmoothPlate() const;

 private:
  // The picture plus `offset` levels, rounded.
  std::vector<unsigned char> rounded(float offset) const;
  ConstFrame source(const std::vector<unsigned char>& argb) const {
    return packedFrame(argb.data(), color_[0].width, color_[0].height);
  }
  Planes plateOf(const std::vector<unsigned char>& argb) const;

  KeySettings settings_{};
  Planes color_;
  std::vector<unsigned char> argb_;
  const Workers* workers_;
};

// How surely the engine keys a pixel away, 0..1, away from all that its matte `own` leaves to be seen. It follows paint
// that grows paler step by step, such as a lamp's glare, which no model of one paint explains; but also what is thin of
// a veil, which is why its word counts only away from the subject. Where the picture is `calm` (0..1), a trace that it
// leaves is shade, and less is made of it.
Plane clearInOwnKey(const Plane& own, const Plane& calm, float unit, const Workers* workers);

// How far the fit is to give way to the engine's own plate, 0..1: where its matte `fitted` leaves visibly more than the
// engine's `own` does, of what differs in hue from the fitted `screen` and is no paler: the screen in shade of another
// hue, or a paint that the fit carried too far. Glass and veils are paler, and a plain shadow has the screen's hue.
Plane givenWay(const Plane& own, const Plane& fitted, const PaintAndLight& parted, const Planes& screen,
               const PaleAxis& axis, float unit, const Workers* workers);

struct Doubts {
  std::string why;     // what speaks against the fit as a sentence, empty where nothing does
  float trust = 1.0f;  // that is left, 0..1; 1 where nothing does
};

// `bare` (0..1) is what the fit was made from, `own` and `fitted` are the mattes.
Doubts doubtsOf(const Plane& bare, const Plane& own, const Plane& fitted);

}  // namespace kalvetra::plates
