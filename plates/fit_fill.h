// The bare screen at every place, continued from where it is seen.
#pragma once

#include "plates/fit_paint.h"

namespace kalvetra::plates {

// The picture where `weight` (0..1) is large; elsewhere what paint and light foretell, corrected by how they err at the
// nearest places seen. `keySum` is the sum of the key colour's channels, in levels.
Planes filledScreen(const Planes& soft, const PaintAndLight& parted, const PaintModel& paint, const Plane& weight,
                    float keySum, float unit, const Workers* workers);

// Each plane's mean over a square of 2 * radius + 1 pixels.
Planes softened(const Planes& planes, int radius, const Workers* workers);

}  // namespace kalvetra::plates
