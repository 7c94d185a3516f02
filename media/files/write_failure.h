// The sentences for an output that cannot be written.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

#include "support/user_error.h"

namespace kalvetra {

// Throws UserError. `shownName` is the output as the user called it.
[[noreturn]] inline void failWriting(const std::string& shownName, const std::string& why) {
  const std::string name = shownName == "-" ? "the standard output" : shownName;
  throw UserError(name + ": cannot be written (" + why + "); make room or choose another place");
}

// The same for an error number of the system; a pipe whose reader has gone needs other advice.
[[noreturn]] inline void failWriting(const std::string& shownName, int systemError) {
  if (systemError != EPIPE) failWriting(shownName, std::strerror(systemError));
  const std::string name = shownName == "-" ? "the standard output" : shownName;
  throw UserError(name + ": its reader has gone before everything was written; let it read to the end");
}

}  // namespace kalvetra
