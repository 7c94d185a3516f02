// The settings that a clip is keyed with, and its plates, as the user chose and the clip shows.
#pragma once

#include "cli/key_options.h"
#include "cli/progress.h"
#include "jobs/clip_plates.h"

namespace kalvetra {

struct SettledKey {
  AnimatedSettings settings;                 // of every frame
  std::shared_ptr<const ClipPlates> plates;  // that go with them; null: the engine's own
};

// Of the job's clip, which `clip` reads: the table's defaults, what helps it surely (see usual_key.h) or the proposal;
// over them what the user named. Without --plain what is not named is found, beside a preset only for --auto; the key
// colour always, where it is needed. All that is found is named on stderr, and which options do nothing. Leaves the
// clip at its start. Throws UserError when it shows no backdrop, and for clip levels that cross. How far the search for
// plates is shows as `progress` says.
SettledKey settleKey(const KeyChoice& choice, Reader& clip, const KeyJob& job, ProgressKind progress = usualProgress());

}  // namespace kalvetra
