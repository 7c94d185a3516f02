// What the server allows those who connect to it.
#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace kalvetra {

// A quarter of the files that the process may have open, so that the work has the others; 256 at most.
inline std::size_t connectionsAtOnce() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return 64;
  return static_cast<std::size_t>(std::clamp<rlim_t>(files.rlim_cur / 4, 16, 256));
}

struct ConnectionLimits {
  std::chrono::milliseconds idle{2000};    // until a request begins
  std::chrono::milliseconds head{3000};    // for a whole head, which comes in one piece
  std::chrono::milliseconds body{30000};   // for a whole body
  std::chrono::milliseconds linger{1000};  // for the other side to read its last answer
  std::size_t connections = connectionsAtOnce();
};

}  // namespace kalvetra
