// The manual page, written from the command line's own tables.
#pragma once

#include <string>

#include "cli/command_outline.h"

namespace kalvetra {

// Roff with the macros of man(7).
std::string manualPage(const CommandOutline& program, const std::string& version);

}  // namespace kalvetra
