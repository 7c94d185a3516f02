// Ctrl-C and its relatives: noted, and acted on where work can be left.
#pragma once

#include <atomic>
#include <exception>

namespace kalvetra {

// True from the first SIGINT, SIGTERM or SIGHUP on.
std::atomic<bool>& stopRequested();

// Installs the handlers. Further signals change nothing: an impatient second Ctrl-C must not leave half a file behind.
void catchInterrupts();

// What an interrupted command throws; main answers with exit status 130.
class Interrupted : public std::exception {
 public:
  const char* what() const noexcept override { return "interrupted; nothing was written"; }
};

inline void throwIfInterrupted() {
  if (stopRequested()) throw Interrupted();
}

}  // namespace kalvetra
