// The secret part of the preview's address.
#pragma once

#include <string>
#include <string_view>

namespace kalvetra {

// 32 hexadecimal digits from the system's entropy. Throws std::runtime_error when it has none.
std::string makeToken();

// In a time that does not tell where they differ.
bool sameToken(std::string_view a, std::string_view b);

}  // namespace kalvetra
