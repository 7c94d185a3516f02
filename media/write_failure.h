// What is said when an output cannot be written.
#pragma once

#include <string>

#include "support/user_error.h"

namespace kalvetra {

// Throws UserError. `shownName` is the output as the user called it.
[[noreturn]] inline void failWriting(const std::string& shownName, const std::string& why) {
  throw UserError(shownName + ": cannot be written (" + why + "); make room or choose another place");
}

}  // namespace kalvetra
