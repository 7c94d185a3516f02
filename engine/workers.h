// Threads that a caller lends to a call. The engine starts none of its own.
#pragma once

#include <functional>

namespace kalvetra {

struct Workers {
  // How many parts can run at the same time; below 1 counts as 1.
  int count;
  // Calls work(0) .. work(parts - 1), each once, in any order and on any threads, the calling one among them or not,
  // and returns when all have ended. `work` throws nothing. What `run` throws itself passes to the caller of the call;
  // it may throw only while no part is running.
  std::function<void(int parts, const std::function<void(int part)>& work)> run;
};

}  // namespace kalvetra
