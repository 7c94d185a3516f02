// Frames through the keyer on all cores, in order.
#pragma once

#include <functional>

#include "media/picture_sink.h"
#include "media/reader.h"
#include "parameters/animated_settings.h"

namespace kalvetra {

// Reads every frame of `source`, keys it with the settings of its number (the first is 0) and writes it to `sink`:
// decoding, keying and encoding overlap, several frames are keyed at once, and the output keeps the source's order.
// Memory holds a few frames a thread, however long the clip. `frameDone` is called after each written frame. Throws
// Interrupted when the user stops it.
void keyClip(Reader& source, PictureSink& sink, const AnimatedSettings& settings, int threads,
             const std::function<void()>& frameDone);

}  // namespace kalvetra
