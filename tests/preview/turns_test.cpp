// Who waits for whom.
#include "preview/clip/turns.h"

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <optional>
#include <thread>

#include "preview/clip/precedence.h"
#include "support/user_error.h"
#include "tests/support/wait_for.h"

namespace kalvetra {
namespace {

using namespace std::chrono_literals;

bool isTaken(Turns& turns, const char* viewer, std::int64_t sequence) {
  try {
    const Turns::Turn turn(turns, viewer, sequence);
    return true;
  } catch (const Conflict&) {
    return false;
  }
}

TEST(Turns, ANewerRequestDropsThoseThatWait) {
  Turns turns(1);
  std::optional<Turns::Turn> first(std::in_place, turns, "a", 1);
  auto waiting = std::async([&] { return isTaken(turns, "a", 2); });
  auto other = std::async([&] { return isTaken(turns, "b", 1); });
  test::waitFor([&] { return first->isOvertaken(); }, std::identity());  // so that it can be left where it can
  EXPECT_EQ(std::future_status::timeout, waiting.wait_for(50ms));
  auto newest = std::async([&] { return isTaken(turns, "a", 3); });
  EXPECT_FALSE(waiting.get()) << "although no turn was free";
  EXPECT_EQ(std::future_status::timeout, other.wait_for(20ms));
  first.reset();
  EXPECT_TRUE(newest.get());
  EXPECT_TRUE(other.get());
  EXPECT_FALSE(isTaken(turns, "a", 2));
}

TEST(Turns, NoMoreThanAllowedAtOnce) {
  Turns turns(2);
  std::atomic<int> now{0}, most{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      const Turns::Turn turn(turns, "", 0);
      const int together = ++now;
      for (int known = most; known < together && !most.compare_exchange_weak(known, together);) {
      }
      test::waitFor([&] { return most >= 2; }, std::identity());
      std::this_thread::sleep_for(5ms);  // long enough for a third
      --now;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(2, most);
}

TEST(Turns, TheOldestViewersAreForgotten) {
  Turns turns(1);
  for (int i = 0; i < 1000; ++i) EXPECT_TRUE(isTaken(turns, std::to_string(i).c_str(), 5));
  EXPECT_FALSE(isTaken(turns, "999", 4));
}

TEST(Precedence, BackgroundWorkGivesWay) {
  Precedence precedence;
  std::atomic<bool> stop{false};
  precedence.giveWay(stop);  // nothing is urgent
  std::optional<Precedence::Urgent> urgent(std::in_place, precedence);
  auto work = std::async([&] { precedence.giveWay(stop); });
  EXPECT_EQ(std::future_status::timeout, work.wait_for(50ms));
  const auto over = std::chrono::steady_clock::now();
  urgent.reset();
  ASSERT_EQ(std::future_status::ready, work.wait_for(10s));
  EXPECT_GE(std::chrono::steady_clock::now() - over, 50ms) << "another request may follow at once";
  urgent.emplace(precedence);
  auto stopped = std::async([&] { precedence.giveWay(stop); });
  stop = true;
  EXPECT_EQ(std::future_status::ready, stopped.wait_for(10s));
}

}  // namespace
}  // namespace kalvetra
