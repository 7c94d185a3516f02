#include "preview/clip/precedence.h"

#include <thread>

namespace kalvetra {

void Precedence::begin() {
  const std::lock_guard lock(mutex_);
  ++urgent_;
}

void Precedence::end() {
  const std::lock_guard lock(mutex_);
  --urgent_;
  quietSince_ = std::chrono::steady_clock::now();
}

bool Precedence::isQuiet() {
  const std::lock_guard lock(mutex_);
  return urgent_ == 0 && std::chrono::steady_clock::now() - quietSince_ >= kMoment;
}

void Precedence::giveWay(const std::atomic<bool>& stop) {
  while (!stop && !isQuiet()) std::this_thread::sleep_for(kStep);
}

}  // namespace kalvetra
