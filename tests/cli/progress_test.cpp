// What is shown of a run under way.
#include "cli/progress.h"

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

namespace {

using kalvetra::LookProgress;
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

TEST(Progress, ALookAtTheClipShowsOnTheLineThatIsDrawnOverAndNotToPrograms) {
  const auto said = [](ProgressKind kind) {
    testing::internal::CaptureStderr();
    LookProgress looking(kind);
    std::this_thread::sleep_for(std::chrono::milliseconds(110));
    looking.show(3, 25);
    looking.show(4, 25);  // at once
    looking.end();
    looking.end();
    return testing::internal::GetCapturedStderr();
  };
  EXPECT_EQ("\r\033[Klooked at 3 of 25 pictures\r\033[K", said(ProgressKind::Bar));
  EXPECT_EQ("", said(ProgressKind::Plain) + said(ProgressKind::Json) + said(ProgressKind::None));
}

}  // namespace
