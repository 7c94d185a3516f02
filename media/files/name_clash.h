// Whether an output's name meets a file that is there already, or another name.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kalvetra {

// "." for a name without a folder.
std::filesystem::path folderOf(const std::filesystem::path& name);

// True when one name, of a file or of a numbered sequence, stands for the other or for a part of it, or may do so.
bool isSameFile(const std::string& a, const std::string& b);

// True when a file stands there already, or any picture that a numbered name covers.
bool outputExists(const std::string& target);

// The first picture of a numbered name that is there, of those numbers (ascending).
std::optional<std::filesystem::path> firstTaken(const std::string& target, const std::vector<int>& numbers);

// Throws UserError when writing `output` would replace the file `input`, or a picture of it that is there, where either
// may be a numbered name.
void refuseOverwritingInput(const std::string& input, const std::string& output);

}  // namespace kalvetra
