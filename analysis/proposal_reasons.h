// Says why each setting was proposed: what was measured, and what the trial keys lose without it.
#pragma once

#include <vector>

#include "analysis/proposal.h"

namespace kalvetra {

// One reason for each setting but the view, in the table's order. Runs a few trial keys more.
std::vector<Reason> reasonsFor(const Proposal& proposal, Trials& trials, ChromaSampling sampling);

}  // namespace kalvetra
