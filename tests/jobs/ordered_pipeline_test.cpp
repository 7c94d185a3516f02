#include "jobs/ordered_pipeline.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>

namespace {

using Pipeline = kalvetra::OrderedPipeline<int>;

// Numbers from 0, with a look at how many have been read and not yet written.
struct Numbers {
  int count = 200, read = 0;
  std::atomic<int> underWay{0}, most{0}, workers{0};
  std::vector<int> written;
  int failsRead = -1, failsWork = -1, failsWrite = -1;

  static void failAt(int number, int fails, const char* stage) {
    if (number == fails) throw std::runtime_error(stage);
  }

  void run(int threads) {
    const Pipeline::Stages stages{
        [&](int& number) {
          if (read == count) return false;
          number = read++;
          most = std::max<int>(most, ++underWay);
          failAt(number, failsRead, "read");
          return true;
        },
        [&] {
          ++workers;
          return [&](int& number) {
            failAt(number, failsWork, "work");
            // The first ones are the slowest, so that others overtake them.
            std::this_thread::sleep_for(std::chrono::microseconds(number % 10 == 0 ? 2000 : 20));
          };
        },
        [&](int& number) {
          failAt(number, failsWrite, "write");
          written.push_back(number);
          --underWay;
        }};
    Pipeline::run(stages, threads);
  }
};

TEST(OrderedPipeline, WritesInTheOrderOfReadingAndReadsOnlyAFewAhead) {
  for (const int threads : {1, 2, 7}) {
    Numbers numbers;
    numbers.run(threads);
    ASSERT_EQ(200u, numbers.written.size());
    EXPECT_TRUE(std::is_sorted(numbers.written.begin(), numbers.written.end()));
    EXPECT_EQ(threads, numbers.workers);
    EXPECT_LE(numbers.most, threads + 2);
  }
}

TEST(OrderedPipeline, ThrowsTheFailureOfAnyStageAndWritesNothingAfterIt) {
  for (const int stage : {0, 1, 2}) {
    for (const int threads : {1, 4}) {
      Numbers numbers;
      const char* names[] = {"read", "work", "write"};
      int* const fails[] = {&numbers.failsRead, &numbers.failsWork, &numbers.failsWrite};
      *fails[stage] = 40;
      try {
        numbers.run(threads);
        FAIL() << "nothing was thrown";
      } catch (const std::runtime_error& error) {
        EXPECT_STREQ(names[stage], error.what());
      }
      EXPECT_LE(numbers.written.size(), 40u);
      EXPECT_TRUE(std::is_sorted(numbers.written.begin(), numbers.written.end()));
      EXPECT_LE(numbers.read, 40 + threads + 2);
    }
  }
}

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__clang__)  // sanitizers need more than the limit
TEST(OrderedPipeline, WorksOnTheThreadsThatTheSystemGrants) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    constexpr std::size_t kGiB = std::size_t{1} << 30;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kGiB);
    pthread_setattr_default_np(&attributes);
    const rlimit little{9 * kGiB / 2, 9 * kGiB / 2};  // four such stacks, and room for the rest
    setrlimit(RLIMIT_AS, &little);
    Numbers numbers;
    numbers.run(40);
    _exit(numbers.workers < 10 && numbers.written.size() == 200 ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(0, status);
}
#endif

}  // namespace
