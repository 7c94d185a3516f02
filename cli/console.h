// What the command says while it works. All of it goes to stderr.
#pragma once

#include <cstdint>
#include <string>

namespace kalvetra {

// One line, headed by the program's name.
void note(const std::string& sentence);

// "1 frame", "2 frames".
std::string counted(std::int64_t number, const std::string& noun);

}  // namespace kalvetra
