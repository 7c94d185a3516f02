// What the server allows those who connect to it.
#pragma once

#include <chrono>
#include <cstddef>

namespace kalvetra {

struct ConnectionLimits {
  std::chrono::milliseconds idle{2000};    // until a request begins
  std::chrono::milliseconds head{3000};    // for a whole head, which comes in one piece
  std::chrono::milliseconds body{30000};   // for a whole body
  std::chrono::milliseconds linger{1000};  // for the other side to read its last answer
  std::size_t connections = 64;            // at once, ten times a browser's; a process may have 256 descriptors
};

}  // namespace kalvetra
