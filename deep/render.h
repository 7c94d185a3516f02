// The way from a frame of any depth and its settings to a view of its key, in single precision throughout: what
// engine/render.h is for frames of bytes. The same bytes at every CPU level and on any number of threads.
#pragma once

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/render.h"

namespace kalvetra {

// Renders settings.view of `input`, of any format, into `output`, which is RgbaF32.
//
// Only the area that both frames have in common is read and written; there may be none. They may lie in the same
// memory. Premultiplied colours are divided by alpha and multiplied again; view Source from premultiplied to
// premultiplied leaves them as they are. A pixel that the key leaves alone comes out with the very colours that it came
// with, whatever they are; NaN counts as 0, an infinity as +-65504.
//
// A given plate may be of any format. The matte's clip levels are the whole levels of the 8-bit key. Threads are used
// for fields as well, and at every CPU level.
//
// Where values are out of range, the result view is empty. Throws std::invalid_argument for an output of another
// format and where a side exceeds 65535 pixels; std::bad_alloc, with nothing written, and what Workers::run throws,
// with the output perhaps written in part.
void renderDeep(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                const RenderOptions& options = {});

// Writes the backdrop that the frame would be keyed against, opaque, with an answer of false where that is the one key
// colour; see renderPlate.
bool renderPlateDeep(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                     const RenderOptions& options = {});

// For showing: a frame of floats in bytes, both straight or both premultiplied, rounded; what is below 0 or above 1 is
// cut off. `bytes` is of an 8-bit format; only the area that both have in common is written.
void toEightBits(const ConstFrame& floats, const Frame& bytes);

}  // namespace kalvetra
