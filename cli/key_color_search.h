// The key colour of a clip that shows its backdrop.
#pragma once

#include <string>

#include "media/input/source_options.h"

namespace kalvetra {

// Looks for a green backdrop in a few pictures from all over the clip and names its colour on stderr. Returns it as
// 0xrrggbb. Throws UserError when there is none, Interrupted when the user stops it.
int findKeyColor(const std::string& input, const SourceOptions& source, int threads);

}  // namespace kalvetra
