// Several clips in one run.
#pragma once

#include <string>
#include <vector>

namespace kalvetra {

inline constexpr char kNamePlaceholder[] = "{name}";

// The clips that the inputs stand for: a folder stands for the videos in it, by name. Those are left out whose name
// `donePattern`, where it is not empty, gives to another of them: they are outputs of an earlier run. Throws UserError
// for a folder without any.
std::vector<std::string> expandInputs(const std::vector<std::string>& inputs, const std::string& donePattern);

// True when `pattern` gives each clip a name of its own.
bool hasPlaceholder(const std::string& pattern);

// `pattern` with each {name} replaced by the clip's file name without its extension; of a sequence without its number.
std::string nameFor(const std::string& pattern, const std::string& input);

}  // namespace kalvetra
