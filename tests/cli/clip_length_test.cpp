// How long clips say they are, and what of them is reported as lost.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::Reader;
using kalvetra::SourceFrame;
using namespace kalvetra::test;

const std::atomic<bool> kNever{false};

struct Length {
  std::int64_t expected = 0, frames = 0, lost = 0;
};

Length lengthOf(const std::string& path) {
  av_log_set_level(AV_LOG_QUIET);
  Reader reader(path, 2, kNever);
  Length length{reader.expectedFrames()};
  for (SourceFrame frame; reader.next(frame);) ++length.frames;
  length.lost = reader.lostFrames();
  return length;
}

class ClipLength : public testing::Test {
 protected:
  void SetUp() override {
    need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=25:d=4 -pix_fmt yuv420p -c:v libx264 -g 10 -bf 0 " + whole_);
  }
  std::string made(const std::string& options, const std::string& name) {
    need(kFfmpeg + options + folder_.path(name));
    return folder_.path(name);
  }
  std::string cut(const std::string& path, double part) {
    const std::string name = path + ".cut" + fs::path(path).extension().string();
    fs::copy_file(path, name);
    fs::resize_file(name, static_cast<std::uintmax_t>(part * static_cast<double>(fs::file_size(path))));
    return name;
  }
  void expectWhole(const std::string& path, std::int64_t frames) {
    const Length length = lengthOf(path);
    EXPECT_EQ(frames, length.frames) << path;
    EXPECT_EQ(frames, length.expected) << path;
    EXPECT_EQ(0, length.lost) << path;
  }

  const ScratchFolder folder_;
  const std::string whole_ = folder_.path("whole.mp4");
};

TEST_F(ClipLength, WhatAnEditListLeavesOutIsNotLost) {
  // Begins half a second into the samples, of which the first group is not even needed.
  const std::string edited = made("-itsoffset -0.5 -i " + whole_ + " -c copy -movflags +faststart ", "edited.mov");
  EXPECT_EQ("nb_frames=100", probe("stream=nb_frames", edited).substr(0, 13));
  expectWhole(edited, 87);
  const Length part = lengthOf(cut(edited, 0.6));
  EXPECT_LT(part.frames, 87);
  EXPECT_EQ(87, part.frames + part.lost);
}

TEST_F(ClipLength, PausesAmongReorderedPicturesKeepTheirLength) {
  const std::string pause = " -vf \"select='lt(n,31)+gt(n,80)'\" -fps_mode vfr -c:v libx264 -g 250 -bf 3 ";
  const std::string hold = " -vf \"setpts='(N+12*eq(N,49))/25/TB'\" -frames:v 50 -fps_mode vfr -c:v libx264 -bf 3 ";
  const std::string fast = " -vf setpts=N/120/TB -r 120 -c:v libx264 -bf 0 ";
  const std::tuple<std::string, std::string, double> cases[] = {
      {made("-i " + whole_ + pause, "pause.mkv"), "", 4.0},
      {made("-i " + whole_ + hold, "hold.mkv"), "", 2.48},
      {made("-i " + whole_ + fast, "fast.mkv"), " --start 3f --frames 4", 4.0 / 120}};
  for (const auto& [clip, range, seconds] : cases) {
    for (const char* ending : {".mp4", ".mov"}) {
      const std::string output = clip + ending, over = ending == std::string(".mp4") ? " --over '#ff0000'" : "";
      need(key(clip + " " + output + " --key-color 0,255,0" + over + range));
      EXPECT_NEAR(seconds, std::stod(probe("format=duration", output).substr(9)), 0.0021) << output;
    }
  }
}

TEST_F(ClipLength, MatroskaMayBeginLater) {
  const std::string late = made("-i " + whole_ + " -c copy -output_ts_offset 10 ", "late.mkv");
  expectWhole(late, 100);
  expectWhole(made("-ss 2 -copyts -i " + whole_ + " -c copy ", "kept.mkv"), 50);
  EXPECT_GT(lengthOf(cut(late, 0.5)).lost, 0);
}

TEST_F(ClipLength, ALongerSecondVideoIsNoPartOfTheClip) {
  const std::string two =
      "-t 2 -i " + whole_ + " -i " + whole_ + " -map 0:v -map 1:v -c copy -disposition:v:0 default ";
  const std::string both = made(two, "two.mkv");
  expectWhole(both, 50);
  EXPECT_GT(lengthOf(cut(both, 0.3)).lost, 0);
}

TEST_F(ClipLength, FragmentsAreCountedOrNotAtAll) {
  const std::string plain = made("-i " + whole_ + " -c copy -movflags frag_keyframe ", "f.mp4");
  expectWhole(plain, 100);
  const Outcome piped = run("cat " + plain + " | " + kKalvetra + " probe --json -");
  EXPECT_EQ(std::string::npos, piped.output.find("\"frames\": 1")) << piped.output;
  // One index of all fragments: the rest is found on the way.
  const std::string indexed =
      made("-i " + whole_ + " -c copy -movflags dash+global_sidx -frag_duration 500000 ", "g.mp4");
  const Length length = lengthOf(indexed);
  EXPECT_EQ(100, length.frames);
  EXPECT_EQ(0, length.expected);
  EXPECT_EQ(0, length.lost);
}

TEST(SequenceLength, GapsCountOnceThePictureAfterThemIsRead) {
  const ScratchFolder folder;
  const std::string pattern = folder.path("p-%02d.png");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=25:d=0.48 " + pattern);
  for (const char* number : {"03", "04", "10"}) fs::remove(folder.path("p-" + std::string(number) + ".png"));
  for (const int threads : {1, 4}) {
    Reader reader(pattern, threads, kNever);
    SourceFrame frame;
    for (const int lost : {0, 0, 2, 2, 2, 2, 2, 3, 3}) {
      ASSERT_TRUE(reader.next(frame));
      EXPECT_EQ(lost, reader.lostFrames()) << threads << " threads, at " << frame.time;
    }
    EXPECT_FALSE(reader.next(frame));
    EXPECT_EQ(3, reader.lostFrames());
    const std::string keying = key(pattern + " -f null --key-color 0,255,0 --threads " + std::to_string(threads));
    EXPECT_EQ(0, run(keying + " --frames 1").status) << threads;
    EXPECT_EQ(1, run(keying + " --frames 3").status) << threads;
  }
}

}  // namespace
