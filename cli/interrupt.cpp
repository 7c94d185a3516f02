#include "cli/interrupt.h"

#include <csignal>

namespace kalvetra {

std::atomic<bool>& stopRequested() {
  static std::atomic<bool> stop{false};
  return stop;
}

void catchInterrupts() {
  static_assert(std::atomic<bool>::is_always_lock_free);
  stopRequested();  // made before a handler needs it
  struct sigaction action = {};
  action.sa_handler = [](int) { stopRequested() = true; };
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaction(signal, &action, nullptr);
  // A file-size limit is a write error like any other, not the end of the program.
  std::signal(SIGXFSZ, SIG_IGN);
  // So is a reader of the standard output that goes away.
  std::signal(SIGPIPE, SIG_IGN);
}

}  // namespace kalvetra
