// A clip's description as text for people and as JSON for programs.
#pragma once

#include <string>

#include "media/probe/clip_description.h"

namespace kalvetra {

// One property a line, the values in a column; then a line for each risk. Ends with a newline.
std::string reportText(const ClipDescription& clip);
// One object; what is not known is null.
std::string reportJson(const ClipDescription& clip);

}  // namespace kalvetra
