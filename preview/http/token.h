// The secret part of the preview's address.
#pragma once

#include <string>
#include <string_view>

namespace kalvetra {

// 32 hexadecimal digits from the system's entropy. Throws std::runtime_error when it has none.
std::string makeToken();

// Takes the same time wherever they differ, so that a token cannot be guessed digit by digit.
bool sameToken(std::string_view a, std::string_view b);

}  // namespace kalvetra
