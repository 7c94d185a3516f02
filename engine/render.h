// The one way from a frame and its settings to a view of its key.
#pragma once

#include "engine/frame.h"
#include "engine/key_settings.h"
#include "engine/workers.h"

namespace kalvetra {

// How the rows of a frame belong together.
enum class Scan {
  Whole,   // one picture
  Fields,  // two pictures taken apart in time, line by line in turn; only contraction and edge blur see both together
};

// A picture of the bare backdrop that is known from elsewhere: another frame, a clean plate, a better estimate.
struct KnownPlate {
  ConstFrame picture;  // of the whole frame in any size, straight, of the formats that the frame may have; its alpha is
                       // not read
  // Where a pixel has the plate's paint but is darker, a black shadow stays in place of its key: as opaque as its
  // luminance lies below the plate's, shaped by the setting `shadow`; kept_shadows.h has the formula. For pictures of
  // the backdrop as it is, in its own light.
  bool keepsShadows = false;
  float noise = 0;  // of a channel, standard deviation in levels: darkening that noise explains is no shadow
};

struct RenderOptions {
  Scan scan = Scan::Whole;
  // Threads that the frame's rows may be shared out over; null: the calling thread alone. The bytes are the same.
  // Fields, level Scalar and renderPlate stay on one thread.
  const Workers* workers = nullptr;
  // Keyed against in place of the engine's own estimate, wherever smoothBG is on; where it is not of the frame's size
  // (or the field's), enlarged like the estimate. Null, or of no pixels: the engine's own. May not lie in the memory of
  // the output.
  const KnownPlate* plate = nullptr;
};

// Renders settings.view of `input` into `output`.
//
// Only the area that both frames have in common is read and written; there may be none. The frames may be of any 8-bit
// format and alpha each, and may lie in the same memory: the result is that of the input as straight Argb8, brought
// into the output's form. Premultiplied colours are converted as in pixel_formats.h; view Source from premultiplied to
// premultiplied leaves them as they are. No side may exceed 65535 pixels. Frames and plates of floats must not be
// given: they are for deep/render.h.
//
// Values out of range make the pipeline refuse the frame; the result view is then empty. Throws std::bad_alloc, with
// nothing written, when memory of its own runs out; what the passes meet in the plain pipeline is answered by a frame
// that is empty or partly keyed. What Workers::run throws passes; the output may then be written in part.
void render(const KeySettings& settings, const ConstFrame& input, const Frame& output,
            const RenderOptions& options = {});

// Writes the backdrop that the frame would be keyed against, opaque: the background plate (of each field, for fields;
// the given one as it is keyed against), or the one key colour, with an answer of false, where smoothBG is off, nothing
// is keyed or a value is out of range. Otherwise like render, but where memory runs out for the second field, the first
// may have been written.
bool renderPlate(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                 const RenderOptions& options = {});

}  // namespace kalvetra
