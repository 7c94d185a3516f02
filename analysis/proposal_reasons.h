// Says why each setting was proposed: what was measured, and what the trial keys lose without it.
#pragma once

#include <vector>

#include "analysis/proposal.h"

namespace kalvetra {

// What the reasons rest on besides the proposal itself.
struct Grounds {
  std::string colorReason;  // why the key colour is what it is
  std::string clipReason;   // what the clip black was measured by
  ChromaSampling sampling;
  const Trials* trials;  // null: there were none, `clipReason` says why
};

// One reason for each setting but the view, in the table's order. Runs a few trial keys more.
std::vector<Reason> reasonsFor(const Proposal& proposal, const Grounds& grounds);

}  // namespace kalvetra
