// The way that a call's frames take: the exact lane from bytes to bytes, otherwise the deep one.
#pragma once

#include "engine/render.h"

namespace kalvetra {

// As render() and renderPlate() of engine/render.h for frames of bytes, as renderDeep() and renderPlateDeep() of
// deep/render.h where either is of floats. Bytes that come of the deep lane are its floats rounded, for which memory of
// 16 bytes a pixel is taken. A given plate may be of any format in both.
void renderInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                  const RenderOptions& options = {});
bool renderPlateInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                       const RenderOptions& options = {});

}  // namespace kalvetra
