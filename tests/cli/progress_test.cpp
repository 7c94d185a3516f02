// What is shown of a run under way.
#include "cli/progress.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using kalvetra::Progress;
using kalvetra::ProgressKind;

TEST(Progress, FramesOfEarlierRunsCountNeitherAsLeftNorForTheSpeed) {
  testing::internal::CaptureStderr();
  Progress progress(10'000'000, ProgressKind::Json, 6'000'000);
  for (int i = 0; i < 20; ++i) progress.advance();
  progress.end();
  std::istringstream lines(testing::internal::GetCapturedStderr());
  nlohmann::json last;
  for (std::string line; std::getline(lines, line);) last = nlohmann::json::parse(line);
  const double fps = 20 / std::max(progress.seconds(), 1e-3);
  EXPECT_EQ(6'000'020, last.at("frame"));
  EXPECT_EQ(10'000'000, last.at("frames"));
  EXPECT_NEAR(fps, last.at("fps"), 0.06);
  EXPECT_NEAR(3'999'980 / fps, last.at("seconds_left"), 0.06);
}

}  // namespace
