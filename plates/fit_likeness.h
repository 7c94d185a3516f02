// How like the screen's paint a pixel is.
#pragma once

#include "plates/fit_paint.h"

namespace kalvetra::plates {

class Likeness {
 public:
  Likeness(const PaintModel& model, const PaleAxis& axis, const PaintAndLight& parted, float unit,
           const Workers* workers);

  // Takes the model's error at each place, as it is seen over wide surroundings where pixels are `alike` (0..1), for
  // the screen's own drift of hue, and measures the scatter about that.
  void settle(const Plane& alike);
  // Where the engine's own key, away from the subject, is trusted to know the screen: what it keys `clear` (0..1) and
  // is joined to where the screen is `sure` (0..1) through nothing but such places. Glass and gaps in hair are not.
  Plane trusted(const Plane& sure, const Plane& clear) const;
  // How surely each pixel shows the screen's paint alone, 0..1. `near` (0..1) is where the subject is near: there
  // little is forgiven, for fine hair and veils differ by little. In `trusted` places the paint may grow paler and of
  // other hue step by step, as under a lamp: a veil begins at an edge.
  Plane at(const Plane& near, const Plane& trusted) const;

 private:
  Plane grown(const Plane& shift, const Plane& trusted) const;

  Plane pale_, across_;      // from the model, in shares
  Plane calm_, calmAcross_;  // the same as means over the neighbourhood, which can be held to less
  Plane noisy_;              // factor on what is forgiven, for the dark; 0 where it is too dark or bright
  Plane admitted_;           // 0..1, by its distance from the key's paint
  float scatter_, unit_;
  const Workers* workers_;
};

}  // namespace kalvetra::plates
