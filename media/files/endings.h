// What a file's name says of its kind.
#pragma once

#include <string>

namespace kalvetra {

// The path's extension in lower case, with its dot; empty when it has none, "-" for the standard output.
std::string extensionOf(const std::string& path);

// By the extension, the usual ones of each kind.
bool isVideoName(const std::string& path);
bool isPictureName(const std::string& path);

}  // namespace kalvetra
