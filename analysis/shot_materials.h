// What a shot's frames show of the materials of its subject, for the despill that goes by them.
#pragma once

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/render.h"
#include "refine/materials.h"

namespace kalvetra {

// How many frames from all over a shot are looked at.
inline constexpr int kMaterialFrames = 5;

// Keys the frame and adds what it shows of the materials; frames of a shot in the order of time. Of the settings the
// backdrop's count, key-color, screen and smooth-bg, and all others stand as delivered: what the subject is made of
// does not change while it is keyed in another way. Frames of any format; the options are those it is keyed with.
// Throws std::bad_alloc and what Workers::run throws.
void addMaterialsOf(const ConstFrame& source, const KeySettings& settings, const RenderOptions& options,
                    refine::MaterialGathering& gathering);

}  // namespace kalvetra
