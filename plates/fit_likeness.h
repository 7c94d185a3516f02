// How like the screen's paint a pixel is.
#pragma once

#include "plates/fit_paint.h"

namespace kalvetra::plates {

class Likeness {
 public:
  Likeness(const PaintModel& model, const PaleAxis& axis, const PaintAndLight& parted, float unit,
           const Workers* workers);

  // How surely each pixel shows the screen's paint alone, 0..1. `near` (0..1) is where the subject is near: there
  // little is forgiven, for fine hair and veils differ by little. `glare` is how much paler the screen may be, in
  // shares.
  Plane at(const Plane& near, const Plane& glare) const;
  // How much paler than the model the screen has grown, step by step from where it is `sure` (0..1) and through what
  // the engine keys `clear` (0..1): a lamp's glare grows slowly, a veil or a glass begins at an edge.
  Plane glare(const Plane& sure, const Plane& clear) const;

 private:
  Plane pale_, across_;  // from the model, in shares
  Plane calm_;           // pale_, as a mean over the neighbourhood: it can be held to less
  Plane noisy_;  // factor on what is forgiven, for the dark; 0 where it is too dark or bright, or of other paint
  float scatter_, unit_;
  const Workers* workers_;
};

}  // namespace kalvetra::plates
