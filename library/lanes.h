// The way that a call's frames take: the exact lane from bytes to bytes, otherwise the deep one; that, too, for
// settings that work at full depth alone.
#pragma once

#include "engine/render.h"
#include "refine/materials.h"

namespace kalvetra {

// As render() and renderPlate() of engine/render.h for frames of bytes, as renderDeep() and renderPlateDeep() of
// deep/render.h, and what comes after the key, where either is of floats or the settings ask for full depth. Bytes that
// come of the deep lane are its floats rounded, for which memory of 16 bytes a pixel is taken. A given plate may be of
// any format in both. `materials` are those of the shot; null: those of the frame alone.
void renderInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                  const RenderOptions& options = {}, const refine::Materials* materials = nullptr);
bool renderPlateInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                       const RenderOptions& options = {});

}  // namespace kalvetra
