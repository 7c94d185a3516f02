// Ctrl-C and its relatives: noted, and acted on where work can be left.
#pragma once

#include <atomic>

#include "support/interrupted.h"

namespace kalvetra {

// True from the first SIGINT, SIGTERM or SIGHUP on.
std::atomic<bool>& stopRequested();

// Installs the handlers. Further signals change nothing: an impatient second Ctrl-C must not leave half a file behind.
void catchInterrupts();

// An interrupted command ends with exit status 130.
inline void throwIfInterrupted() {
  if (stopRequested()) throw Interrupted();
}

}  // namespace kalvetra
