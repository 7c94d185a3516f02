// What the program finds out about a clip by itself: its backdrop's colour, and all key settings.
#pragma once

#include <atomic>
#include <string>

#include "analysis/backdrop_color.h"
#include "analysis/proposal.h"
#include "jobs/clip_plates.h"
#include "media/input/reader.h"

namespace kalvetra {

inline constexpr int kSampledFrames = 8;

struct FoundBackdrop {
  BackdropColor color;
  int frames;  // that were looked at
};

// Looks for the backdrop in up to `frames` pictures from all over the clip, which it leaves anywhere. Throws UserError
// when none can be read or they show no backdrop, Interrupted once `stop` is true.
FoundBackdrop findBackdrop(Reader& clip, int frames, const std::atomic<bool>& stop);

// Proposes all settings from up to `frames` pictures, for that key colour, 0xrrggbb, or for the backdrop's where none
// is named. They are tried on a plate fitted to each picture where that is sure, or with PlateKind::Own on the
// engine's. Works on that many threads; leaves the clip anywhere and throws like findBackdrop.
Proposal proposeSettings(Reader& clip, std::optional<int> keyColor, int threads, const std::atomic<bool>& stop,
                         int frames = kSampledFrames, PlateKind plate = PlateKind::Fit);

}  // namespace kalvetra
