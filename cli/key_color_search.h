// The key colour of a clip that shows its backdrop.
#pragma once

#include "media/input/reader.h"

namespace kalvetra {

// Looks for a backdrop in a few pictures from all over the clip and names its colour on stderr. Returns it as
// 0xrrggbb, and the clip to its start. Throws UserError when there is none, Interrupted when the user stops it.
int findKeyColor(Reader& clip);

}  // namespace kalvetra
