// Names of files that the page may use: a name in a known folder, and nothing else.
#pragma once

#include <string>

namespace kalvetra {

// Throws UserError with the reason unless `name` is the plain name of one visible file: no separator, no dot at its
// beginning, no control character, UTF-8, not too long for the hidden names that unfinished files have.
void checkPlainName(const std::string& name);
bool isPlainName(const std::string& name);

// True for what JSON can hold as it is.
bool isUtf8(const std::string& text);

}  // namespace kalvetra
