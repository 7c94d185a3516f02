// Where pictures come from: pipes, raw pictures, sequences with gaps, damaged and interlaced files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

#include "support/user_error.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::FieldOrder;
using kalvetra::FrameConverter;
using kalvetra::Image;
using kalvetra::Reader;
using kalvetra::SourceFrame;
using kalvetra::SourceOptions;
using kalvetra::UserError;
using namespace kalvetra::test;

const std::atomic<bool> kNever{false};
const std::string kPicture = kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=25:d=0.48 ";  // 12 frames
const std::string kTall = kFfmpeg + "-f lavfi -i testsrc2=s=160x96:r=50:d=0.48 ";
constexpr std::size_t kFrames = 12;

struct Clip {
  std::vector<Image> images;
  std::vector<std::int64_t> times;
  std::int64_t lost, damaged;
  std::string gaps;
};

Clip read(const std::string& path, const SourceOptions& options = {}, int threads = 1) {
  av_log_set_level(AV_LOG_QUIET);
  Reader reader(path, options, threads, kNever);
  FrameConverter converter(reader.format().color);
  Clip clip;
  for (SourceFrame frame; reader.next(frame);) {
    clip.images.push_back(converter.convert(*frame.picture));
    clip.times.push_back(frame.time);
  }
  clip.lost = reader.lostFrames();
  clip.damaged = reader.damagedFrames();
  clip.gaps = reader.describeGaps();
  return clip;
}

FieldOrder fieldOrderOf(const std::string& path) { return Reader(path, 2, kNever).format().fieldOrder; }

std::string refusal(const std::string& path, const SourceOptions& options = {}) {
  try {
    read(path, options);
  } catch (const UserError& error) {
    return error.what();
  }
  return {};
}

// The hashes of a source as the command reads it.
std::string hashes(const std::string& command) {
  const Outcome outcome = run(command + " --view source -f hash 2>/dev/null");
  EXPECT_EQ(0, outcome.status) << command;
  return outcome.output;
}

TEST(StandardInput, GivesWhatTheFileGives) {
  const ScratchFolder folder;
  for (const char* name : {"a.mkv", "a.ts", "a.nut", "a.mp4"}) {
    const std::string file = folder.path(name);
    need(kPicture + "-pix_fmt yuv420p -c:v libx264 -movflags +faststart -f " +
         (name == std::string("a.ts")    ? "mpegts "
          : name == std::string("a.mkv") ? "matroska "
                                         : std::string(name + 2) + " ") +
         file);
    const std::string expected = hashes(key(file));
    expectHas(expected, "clip 12 ");
    EXPECT_EQ(expected, hashes("cat " + file + " | " + key("-"))) << name;
    EXPECT_EQ(expected, hashes(key("- < " + file))) << name;
  }
}

TEST(StandardInput, WhatCannotBeReadIsRefused) {
  const ScratchFolder folder;
  const std::string late = folder.path("late.mp4");
  need(kPicture + "-vf scale=640:360,noise=alls=90:allf=t -c:v mjpeg -q:v 2 " + late);  // more than any buffer holds
  ASSERT_GT(fs::file_size(late), 200000u);
  const auto refused = [](const std::string& command, const std::string& sentence) {
    const Outcome outcome = run(command);
    EXPECT_EQ(1, outcome.status) << command;
    expectHas(outcome.output, sentence);
  };
  const std::string keying = key("- -f null --key-color 0,255,0");
  refused("cat " + late + " | " + keying, "index of this file lies at its end");
  EXPECT_EQ(0, run(keying + " < " + late).status) << "a file can go back";
  refused("echo nothing | " + keying, "the standard input: is not a video");
  refused(keying, "the standard input: is not a video");  // empty
  need(kPicture + "-c:v libx264 " + folder.path("a.mkv"));
  refused("cat " + folder.path("a.mkv") + " | " + key("- -f null"), "can be read only once");
  refused("cat " + folder.path("a.mkv") + " | " + keying + " --auto", "with --key-color, without --auto");
}

TEST(StandardInput, AnInterruptEndsTheWait) {
  const ScratchFolder folder;
  const std::string pipe = folder.path("pipe");
  need("mkfifo " + pipe);
  const Outcome outcome = run("(sleep 9 > " + pipe + " 2>/dev/null &); timeout -k 3 -s INT 3 " +
                              key("- -f null --key-color 0,255,0 < ") + pipe);
  EXPECT_NE(std::string::npos, outcome.output.find("interrupted")) << outcome.output;
}

SourceOptions raw(const std::string& description) { return {kalvetra::parseRawPictures(description), {25, 1}}; }

TEST(RawSources, AreReadWithoutChange) {
  const ScratchFolder folder;
  for (const char* format : {"bgra", "argb", "rgb24", "gbrp10le", "yuv420p", "yuv422p10le", "nv12"}) {
    const std::string bare = folder.path("bare"), boxed = folder.path("boxed.nut");
    need(kPicture + "-pix_fmt " + format + " -f rawvideo " + bare);
    need(kPicture + "-pix_fmt " + format + " -c:v rawvideo " + boxed);
    const Clip mine = read(bare, raw("160x90@30000/1001:" + std::string(format))), reference = read(boxed);
    ASSERT_EQ(kFrames, mine.images.size()) << format;
    EXPECT_EQ(0, mine.lost + mine.damaged);
    for (std::size_t i = 0; i < kFrames; ++i) EXPECT_EQ(reference.images[i].bytes, mine.images[i].bytes) << format;
  }
  Reader reader(folder.path("bare"), raw("160x90@30000/1001:nv12"), 1, kNever);
  EXPECT_EQ(0, av_cmp_q({30000, 1001}, reader.format().frameRate));
  EXPECT_EQ(FieldOrder::Unknown, reader.format().fieldOrder);
  EXPECT_EQ(12, reader.expectedFrames());
}

TEST(RawSources, APartOfAPictureCountsAsLost) {
  const ScratchFolder folder;
  const std::string bare = folder.path("bare.rgb");
  need(kPicture + "-pix_fmt rgb24 -f rawvideo - | head -c $((160 * 90 * 3 * 5 + 1000)) > " + bare);
  for (const int threads : {1, 3}) {
    const Clip clip = read(bare, raw("160x90@25:rgb24"), threads);
    EXPECT_EQ(5u, clip.images.size());
    EXPECT_EQ(1, clip.lost);
  }
  expectHas(refusal(folder.path("shot-%d.rgb"), raw("2x2@25:rgb24")), "raw pictures come from one file");
}

TEST(Sequences, StartAnywhereAndContinueOverGaps) {
  const ScratchFolder folder;
  for (const char* extension : {"png", "tif", "jpg", "dpx", "exr", "bmp"}) {
    const std::string pattern = folder.path("shot-%04d." + std::string(extension));
    need(kPicture + "-start_number 998 " + pattern);
    std::vector<Image> all = read(pattern).images;
    ASSERT_EQ(kFrames, all.size()) << extension;
    for (const char* number : {"1000", "1004", "1005"})
      fs::remove(folder.path("shot-" + std::string(number) + "." + extension));
    const Clip clip = read(pattern, {}, 2);
    EXPECT_EQ(3, clip.lost) << extension;
    EXPECT_EQ((std::vector<std::int64_t>{0, 1, 3, 4, 5, 8, 9, 10, 11}), clip.times);
    expectHas(clip.gaps, "3 pictures are missing (1000, 1004..1005)");
    all.erase(all.begin() + 6, all.begin() + 8);
    all.erase(all.begin() + 2);
    ASSERT_EQ(all.size(), clip.images.size());
    for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(all[i].bytes, clip.images[i].bytes) << extension << " " << i;
  }
  const std::string png = folder.path("shot-%04d.png");
  Reader film(png, SourceOptions{{}, {24000, 1001}}, 1, kNever);
  EXPECT_EQ(0, av_cmp_q({24000, 1001}, film.format().frameRate));
  EXPECT_EQ(9, film.expectedFrames());
  EXPECT_TRUE(film.seek(0.95));
  SourceFrame frame;
  ASSERT_TRUE(film.next(frame));
  EXPECT_EQ(11, frame.time);
}

TEST(Sequences, BadFilesAreCountedAndMissingOnesRefused) {
  const ScratchFolder folder;
  const std::string pattern = folder.path("p-%d.png");
  need(kPicture + pattern);
  std::ofstream(folder.path("p-3.png")) << "";  // empty
  std::ofstream(folder.path("p-4.png")) << "no picture";
  fs::remove(folder.path("p-6.png"));
  const Clip clip = read(pattern);
  EXPECT_EQ(9u, clip.images.size());
  EXPECT_EQ(3, clip.lost);
  expectHas(clip.gaps, "1 picture is missing (6)");
  expectHas(refusal(folder.path("q-%03d.png")), "no file has a name of this pattern (q-001.png would)");
  expectHas(refusal(folder.path("none/q-%03d.png")), "folder cannot be listed");
  // A file whose very name has a % in it is a file.
  fs::copy(folder.path("p-1.png"), folder.path("100%d.png"));
  EXPECT_EQ(1u, read(folder.path("100%d.png")).images.size());
}

TEST(Interlaced, TheOrderIsReadFromTheFileOrItsFirstPicture) {
  const ScratchFolder folder;
  const std::string interlacing = "-vf tinterlace=interleave_top ";
  need(kTall + interlacing + "-c:v libx264 -flags +ildct+ilme -x264opts tff=1 " + folder.path("t.mp4"));
  need(kTall + "-vf tinterlace=interleave_bottom -c:v libx264 -flags +ildct+ilme -x264opts bff=1 " +
       folder.path("b.mp4"));
  need(kTall + interlacing + "-pix_fmt yuv420p -c:v mpeg2video -flags +ildct+ilme -top 1 -b:v 5M " +
       folder.path("t.m2v"));
  need(kPicture + "-pix_fmt yuv420p -c:v libx264 " + folder.path("p.mp4"));
  EXPECT_EQ(FieldOrder::TopFirst, fieldOrderOf(folder.path("t.mp4")));
  EXPECT_EQ(FieldOrder::BottomFirst, fieldOrderOf(folder.path("b.mp4")));
  EXPECT_EQ(FieldOrder::TopFirst, fieldOrderOf(folder.path("t.m2v")));
  EXPECT_EQ(FieldOrder::Progressive, fieldOrderOf(folder.path("p.mp4")));
  // FFV1 in NUT: the container says nothing. Looking at the first picture must not cost one.
  need(kPicture + "-pix_fmt yuv420p -c:v ffv1 " + folder.path("p.nut"));
  EXPECT_EQ(FieldOrder::Progressive, fieldOrderOf(folder.path("p.nut")));
  EXPECT_EQ(kFrames, read(folder.path("p.nut"), {}, 3).images.size());
  // Neither must sound before it, or a decoder that hands its first picture out late.
  need(kPicture + "-f lavfi -i sine=d=0.48 -pix_fmt yuv420p -c:v mpeg4 -bf 2 -c:a pcm_s16le " + folder.path("s.mov"));
  for (const int threads : {1, 4}) {
    const Clip clip = read(folder.path("s.mov"), {}, threads);
    EXPECT_EQ(kFrames, clip.images.size());
    EXPECT_EQ(0, clip.lost + clip.damaged);
  }
}

// A moving edge between a red and a blue field: chroma that crosses fields shows as a third colour.
TEST(Interlaced, ChromaStaysInItsField) {
  const ScratchFolder folder;
  const std::string file = folder.path("i.mkv");
  need(kFfmpeg + "-f lavfi -i color=red:s=64x64:r=50:d=0.04 -f lavfi -i color=blue:s=64x64:r=50:d=0.04 " +
       "-filter_complex \"[0:v]format=yuv420p[a];[1:v]format=yuv420p[b];[a][b]interleave=duration=shortest," +
       "tinterlace=interleave_top\" -frames:v 1 -c:v ffv1 " + file);
  Reader reader(file, 1, kNever);
  SourceFrame frame;
  ASSERT_TRUE(reader.next(frame));
  const auto levels = [&](bool fields) {
    FrameConverter converter(reader.format().color, {.dither = false, .fields = fields});
    return converter.convert(*frame.picture);
  };
  const Image apart = levels(true), mixed = levels(false);
  int strays = 0;
  for (int y = 0; y < 64; ++y) {
    const unsigned char* pixel = apart.row(y) + 4 * 32;
    const bool red = y % 2 == (apart.row(0)[4 * 32 + 1] > 128 ? 0 : 1);
    EXPECT_NEAR(red ? 254 : 0, pixel[1], 3) << y;
    EXPECT_NEAR(red ? 0 : 254, pixel[3], 3) << y;
    strays += std::abs(mixed.row(y)[4 * 32 + 1] - pixel[1]) > 20 ? 1 : 0;
  }
  EXPECT_GT(strays, 30) << "the same pictures as one would mix";
}

class Damage : public testing::Test {
 protected:
  void SetUp() override {
    need(kFfmpeg + "-f lavfi -i testsrc2=s=320x180:r=25:d=4 -pix_fmt yuv420p -c:v libx264 -threads 1 -g 12 -bf 2 " +
         "-fflags +bitexact " + whole_);
    reference_ = read(whole_);
    ASSERT_EQ(100u, reference_.images.size());
    EXPECT_EQ(0, reference_.lost + reference_.damaged);
  }

  // Reads the file with 300 bytes overwritten from `place` on, and holds what was counted against what is different.
  Clip readDamaged(std::streamoff place, int threads) {
    fs::copy_file(whole_, bad_, fs::copy_options::overwrite_existing);
    std::fstream file(bad_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(place);
    for (int i = 0; i < 300; ++i) file.put(static_cast<char>(37 * i + place));
    file.close();
    Clip clip = read(bad_, {}, threads);
    std::int64_t different = 0;
    for (std::size_t i = 0; i < clip.images.size(); ++i) {
      const long number = std::lround(static_cast<double>(clip.times[i]) / 40.0);  // from milliseconds
      different += clip.images[i].bytes != reference_.images.at(static_cast<std::size_t>(number)).bytes ? 1 : 0;
    }
    EXPECT_GT(clip.damaged + clip.lost, 0) << place;
    EXPECT_LE(different, clip.damaged) << place;
    EXPECT_EQ(100, static_cast<std::int64_t>(clip.images.size()) + clip.lost) << place;
    return clip;
  }

  const ScratchFolder folder_;
  const std::string whole_ = folder_.path("whole.mkv"), bad_ = folder_.path("bad.mkv");
  Clip reference_;
};

// Bytes overwritten in the middle of pictures: all that comes out different from the whole file has been counted.
TEST_F(Damage, EveryPictureWithErrorsIsCounted) {
  const auto bytes = static_cast<std::streamoff>(fs::file_size(whole_));
  for (const int percent : {30, 45, 60, 75}) {
    for (const int threads : {1, 3}) readDamaged(bytes * percent / 100, threads);
  }
}

// Where the structure of the file is hit, the demuxer continues after it and reports nothing.
TEST_F(Damage, StretchesThatADemuxerJumpsOverAreCounted) {
  std::ifstream file(whole_, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  const std::string cluster = "\x1F\x43\xB6\x75";
  const std::size_t place = content.find(cluster, content.size() / 3);
  ASSERT_NE(std::string::npos, place);
  for (const int threads : {1, 3}) EXPECT_GT(readDamaged(static_cast<std::streamoff>(place) - 20, threads).lost, 3);
}

}  // namespace
