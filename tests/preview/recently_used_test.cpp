#include "support/recently_used.h"

#include <gtest/gtest.h>

#include <string>

namespace kalvetra {
namespace {

TEST(RecentlyUsed, ForgetsWhatWasUsedLongestAgoOnceTheCostsExceedTheLimit) {
  RecentlyUsed<int, std::string> kept(10);
  kept.add(1, "one", 4);
  kept.add(2, "two", 4);
  ASSERT_NE(nullptr, kept.find(1));  // used after 2
  kept.add(3, "three", 6);
  EXPECT_FALSE(kept.contains(2));
  ASSERT_NE(nullptr, kept.find(1));
  EXPECT_EQ("one", *kept.find(1));
  kept.add(1, "smaller", 1);  // in place of the former, whose cost no longer counts
  kept.add(4, "four", 3);
  EXPECT_TRUE(kept.contains(3));
  EXPECT_EQ("smaller", *kept.find(1));
  kept.add(5, "larger than all", 11);
  EXPECT_TRUE(kept.contains(5));
  EXPECT_FALSE(kept.contains(1) || kept.contains(3) || kept.contains(4));
  kept.clear();
  EXPECT_EQ(nullptr, kept.find(5));
  kept.add(1, "one", 5);
  kept.add(2, "two", 5);
  EXPECT_TRUE(kept.contains(1) && kept.contains(2));
}

}  // namespace
}  // namespace kalvetra
