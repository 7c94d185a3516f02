// The colours of a clip's materials, for all of its frames: of each frame by itself they would change from one to the
// next.
#pragma once

#include <memory>

#include "jobs/clip_plates.h"
#include "parameters/animated_settings.h"
#include "refine/materials.h"

namespace kalvetra {

// Gathered in a few pictures from all over the clip, of the depth that it is keyed at, as these settings and plates key
// them: the same for every part of it that is keyed. Null where spill is not taken off by material, and of what can be
// read only once. Throws like ClipPictures::show.
std::shared_ptr<const refine::Materials> materialsFor(const KeyJob& job, const AnimatedSettings& settings,
                                                      const std::shared_ptr<const ClipPlates>& plates,
                                                      const std::atomic<bool>& stop);

}  // namespace kalvetra
