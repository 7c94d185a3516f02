// The clip black that a shot needs: read off the key of what is surely bare screen.
#pragma once

#include <span>
#include <string>

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/render.h"
#include "plates/fit.h"

namespace kalvetra {

// One picture of a shot. All that it points to outlives the call.
struct ScreenSample {
  ConstFrame frame;                   // the whole picture
  const FittedPlate* fitted;          // of that frame: says where its screen is surely bare
  const KnownPlate* plate = nullptr;  // what the frame will be keyed against; null: the engine's own estimate
};

struct MeasuredClip {
  int clipBlack = 0;  // percent of the matte, 0..12; at most 4 where no plate is sure or shadows are kept, and 0 where
                      // this is not sure
  bool sure = false;  // enough of the bare screen was seen
  std::string why;    // what was measured, or what is in the way: a clause without a full stop
};

// The smallest clip black under which hardly anything is left of the bare screen's haze and noise in the keys of all
// `samples` together, and no more than takes little from what is thin: hair, veils and shadows. They are keyed under
// `settings` without their clip levels and view. A function of the pictures alone; `workers` as in RenderOptions.
MeasuredClip measureClipBlack(std::span<const ScreenSample> samples, const KeySettings& settings,
                              const Workers* workers = nullptr);

}  // namespace kalvetra
