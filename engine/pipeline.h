// What KALVETRA_MakeMaskGreenBack32bit runs.
#pragma once

#include "engine/KALVETRA_Param.h"
#include "engine/background_plate.h"

namespace kalvetra {

// Every value but the images lies in its range.
bool valuesInRange(const KALVETRA_Param& param);

// Keys the record's frame, or its two fields, like KALVETRA_MakeMaskGreenBack32bit, with the same answers. Wherever
// that would estimate the background plate, `given` is taken instead unless it is null.
unsigned int runPipeline(KALVETRA_Param& param, const KALVEVIE_Param& view, const GivenPlate* given);

}  // namespace kalvetra
