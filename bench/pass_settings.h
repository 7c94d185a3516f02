// The settings that the passes are tried with.
#pragma once

#include <functional>
#include <vector>

#include "bench/passes.h"
#include "engine/KALVETRA_Param.h"

namespace kalvetra::bench {

// Of a pass that takes a record: the defaults, every value at its lowest and at its highest, then each value alone at
// either end, and key colours for which the geometry degenerates. The record handed to `run` has its images set.
std::vector<Setting> recordSettings(const std::function<void(KALVETRA_Param&, const Images&)>& run, bool pointwise);

// A record at the defaults on these images.
KALVETRA_Param defaultRecord(const Images& images);

// Of the render entry: the defaults, the ends of all sliders, no key, and every combination of its options, for which
// the sliders are drawn among their ends and defaults; each combination in one of the three byte orders, in turn.
std::vector<Setting> renderSettings();

}  // namespace kalvetra::bench
