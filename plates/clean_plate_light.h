// The light of a shot in terms of the light that its clean plate was taken in.
#pragma once

#include "plates/cells.h"
#include "plates/clean_plate_checks.h"
#include "plates/plane.h"

namespace kalvetra::plates {

// The value below which that share of `values` lies. They may not be empty, and are put in another order.
float quantile(std::vector<float>& values, float share);

// The middle one, channel by channel, of what each sample says of the light.
Light middleLight(const CleanView& view, const Cells& clean);

// Notes by how much they differ, from result.gain.
void noteLight(const CleanView& view, const Light& light, CleanPlate& result);

// Where the light falls otherwise on the plate than in the shot, the plate's is bent to it, slowly from place to place:
// its folds stay its own. A note, or a refusal where it differs too much.
void followLight(const CleanView& view, const Cells& clean, Planes& planes, CleanPlate& result);

}  // namespace kalvetra::plates
