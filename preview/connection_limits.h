// How much the server puts up with of those who connect to it.
#pragma once

#include <chrono>
#include <cstddef>

namespace kalvetra {

struct ConnectionLimits {
  std::chrono::milliseconds idle{2000};    // until a request begins
  std::chrono::milliseconds head{3000};    // for a whole head, which comes in one piece
  std::chrono::milliseconds body{30000};   // for a whole body
  std::chrono::milliseconds linger{1000};  // for the other side to read its last answer
  std::size_t connections = 256;           // at once, so that descriptors are left for the work
};

}  // namespace kalvetra
