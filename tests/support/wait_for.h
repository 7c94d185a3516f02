// Waits for what other threads or programs do.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace kalvetra::test {

// Asks again until the answer fits, for at most half a minute.
template <class Ask, class Fits>
auto waitFor(Ask ask, Fits fits) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  auto answer = ask();
  while (!fits(answer) && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    answer = ask();
  }
  EXPECT_TRUE(fits(answer)) << "it took more than half a minute";
  return answer;
}

}  // namespace kalvetra::test
