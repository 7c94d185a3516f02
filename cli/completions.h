// Completions for shells, written from the command line's own tables.
#pragma once

#include <string>

#include "cli/command_outline.h"

namespace kalvetra {

// Each is a script for its shell: commands, options, values that are short lists, otherwise names of files or folders.
std::string bashCompletion(const CommandOutline& program);
std::string zshCompletion(const CommandOutline& program);
std::string fishCompletion(const CommandOutline& program);

}  // namespace kalvetra
