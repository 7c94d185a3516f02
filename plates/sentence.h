// Sentences for the user, put together by printf's rules.
#pragma once

#include <string>

namespace kalvetra::plates {

// At most 300 characters.
[[gnu::format(printf, 1, 2)]] std::string sentence(const char* format, ...);

}  // namespace kalvetra::plates
