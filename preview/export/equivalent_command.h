// The command line that does what the page does.
#pragma once

#include <string>
#include <vector>

#include "preview/export/key_request.h"

namespace kalvetra {

struct EquivalentCommand {
  std::string command;       // one line for a POSIX shell, whatever is in the names
  std::string presetFile{};  // where settings are animated: the file that the command reads, to be saved
  std::string presetText{};  // what belongs into it
};

// What the command is about besides the request.
struct CommandFiles {
  std::string input;
  std::vector<std::string> sourceArguments{};  // options that say how the input is read
  std::string output;
  std::string preset;        // the name of a preset that may be needed
  CompanionPaths mattes{};   // without a background
  std::string cleanPlate{};  // a file, or empty
  bool deep = false;         // the request keys the clip at full depth
};

// Only what differs from the table's defaults and counts is said; the key colour always, and --plain, since the command
// would look for what is not named.
// Animated settings come from the preset, all of them. The paths of what is read become absolute; output and preset
// stay as they are given. Throws UserError for what does not fit together, and for what no command can say.
EquivalentCommand equivalentCommand(const KeyRequest& request, const CommandFiles& files);

}  // namespace kalvetra
