// The materials of what a clip shows before its screen, which go with its plates, and what refining takes.
#pragma once

#include <memory>

#include "jobs/clip_plates.h"

namespace kalvetra {

// Whether the settings ask for the materials of the clip.
bool goesByMaterials(const AnimatedSettings& settings);

// Adds a note where the settings refine in vain: without a plate, or beside what refining leaves alone. Of plates that
// are found, before the materials.
void noteIdleRefine(const AnimatedSettings& settings, FoundPlates& found);

// The plates, which may be null, with the materials of the clip, where the settings ask for them: those that pictures
// from all over it show, the same for every part that is keyed. For a clip that is keyed in 8 bits the plates alone.
// Throws like ClipPictures::show.
std::shared_ptr<const ClipPlates> withMaterials(ClipPictures& clip, const AnimatedSettings& settings,
                                                std::shared_ptr<const ClipPlates> plates,
                                                const IsStopped& stopped = {});

// Why those of a clip that can be read only once are none.
inline constexpr const char* kMaterialsReadOnlyOnce =
    "the input can be read only once: the materials to despill by are looked for in each frame by itself";

}  // namespace kalvetra
