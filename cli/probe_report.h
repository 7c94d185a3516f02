// A clip's description as text for people and as JSON for programs.
#pragma once

#include <string>

#include "media/probe/clip_description.h"

namespace kalvetra {

// `deep`: the clip is keyed at full depth.

// One property a line, the values in a column; then a line for each risk. Ends with a newline.
std::string reportText(const ClipDescription& clip, bool deep);
// One object; what is not known is null.
std::string reportJson(const ClipDescription& clip, bool deep);

}  // namespace kalvetra
