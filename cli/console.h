// What the command says while it works. All of it goes to stderr.
#pragma once

#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace kalvetra {

// One line, headed by the program's name; control characters in it are quoted. Needs no memory.
void note(std::string_view sentence);

void noteAll(const std::vector<std::string>& sentences);

// What a failure is called: its own words, or those for a file that the system does not let us use.
std::string sentenceOf(const std::exception& error);

}  // namespace kalvetra
