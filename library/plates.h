// What a kalvetra_plate is, and what a call keys against.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "engine/workers.h"
#include "kalvetra/kalvetra.h"
#include "library/frames.h"
#include "plates/follow.h"
#include "refine/materials.h"

struct kalvetra_plate {
  kalvetra::PlateRow row;
  kalvetra_plate_facts facts;
  std::string why, notes;                                          // to which the facts point
  std::shared_ptr<const kalvetra::refine::Materials> materials{};  // of the shot, where the settings go by them
};

namespace kalvetra {

// What the frame is keyed against by the caller's plate or, without one, by the setting; null: the engine's own
// estimate. Throws a Refusal for settings that ask for a plate that is missing.
std::shared_ptr<const Plate> plateFor(const KeySettings& settings, const ConstFrame& frame, const CallOptions& options,
                                      const Workers* workers);

}  // namespace kalvetra
