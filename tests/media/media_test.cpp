// Packing, conversion and output places, without the command.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "media/input/declared_length.h"
#include "media/pixels/frame_converter.h"
#include "media/pixels/frame_packer.h"
#include "sample/test_images.h"
#include "support/user_error.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::FramePacker;
using kalvetra::Image;
using kalvetra::TemporaryOutput;
using kalvetra::UserError;
using kalvetra::test::ScratchFolder;

int lackingCalls = 0;  // of those that never replace a file: how many the file system does not have

}  // namespace

extern "C" {
// In place of the system's, for file systems that we do not have.
int renameat2(int, const char* from, int, const char* to, unsigned int flags) noexcept {
  if (lackingCalls == 0) return static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, flags));
  errno = EINVAL;
  return -1;
}
int link(const char* from, const char* to) noexcept {
  if (lackingCalls < 2) return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
  errno = EPERM;
  return -1;
}
}

namespace {

Image noisyImage(int width, int height) {
  Image image(width, height);
  image.bytes = kalvetra::test::noise(width * height * 4, 3);
  return image;
}

Image solidImage(int width, int height, std::array<unsigned char, 4> argb) {
  Image image(width, height);
  for (std::size_t i = 0; i < image.bytes.size(); ++i) image.bytes[i] = argb[i % 4];
  return image;
}

int sample(const AVFrame& frame, int plane, int x, int y, bool wide) {
  const std::uint8_t* row = frame.data[plane] + std::ptrdiff_t{y} * frame.linesize[plane];
  return wide ? reinterpret_cast<const std::uint16_t*>(row)[x] : row[x];
}

// What the exact formats hold comes back byte for byte, alpha included, at any width.
TEST(Packing, ExactFormatsComeBackExactly) {
  for (const AVPixelFormat format : {AV_PIX_FMT_BGRA, AV_PIX_FMT_RGBA}) {
    for (const int width : {1, 2, 7, 33}) {
      const Image image = noisyImage(width, 5);
      const auto frame = FramePacker(format, AVCOL_SPC_RGB).pack(image);
      kalvetra::FrameConverter converter({AVCOL_SPC_RGB, AVCOL_RANGE_JPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
      EXPECT_EQ(image.bytes, converter.convert(*frame).bytes);
    }
  }
}

// 10-bit code values of the BT.709 and BT.601 colour bars, from the two recommendations.
TEST(Packing, ColourCodesOfTheMatrices) {
  const auto codes = [](AVColorSpace matrix, std::array<unsigned char, 4> argb) {
    const auto frame = FramePacker(AV_PIX_FMT_YUVA444P10, matrix).pack(solidImage(3, 3, argb));
    return std::array{sample(*frame, 0, 1, 1, true), sample(*frame, 1, 1, 1, true), sample(*frame, 2, 1, 1, true)};
  };
  EXPECT_EQ((std::array{940, 512, 512}), codes(AVCOL_SPC_BT709, {255, 255, 255, 255}));
  EXPECT_EQ((std::array{64, 512, 512}), codes(AVCOL_SPC_BT709, {255, 0, 0, 0}));
  EXPECT_EQ((std::array{250, 409, 960}), codes(AVCOL_SPC_BT709, {255, 255, 0, 0}));
  EXPECT_EQ((std::array{691, 167, 105}), codes(AVCOL_SPC_BT709, {255, 0, 255, 0}));
  EXPECT_EQ((std::array{326, 361, 960}), codes(AVCOL_SPC_SMPTE170M, {255, 255, 0, 0}));
}

TEST(Packing, EveryAlphaLevelSurvivesTenBits) {
  Image ramp(256, 1);
  for (int i = 0; i < 256; ++i) ramp.bytes[static_cast<std::size_t>(i) * 4] = static_cast<unsigned char>(i);
  const auto frame = FramePacker(AV_PIX_FMT_YUVA444P10, AVCOL_SPC_BT709).pack(ramp);
  kalvetra::FrameConverter converter({AVCOL_SPC_BT709, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
  const Image back = converter.convert(*frame);
  for (std::size_t i = 0; i < 256; ++i) EXPECT_EQ(i, back.bytes[i * 4]);
}

// Transparent neighbours must not tint the edge: red beside invisible green stays red in its chroma.
TEST(Packing, ChromaIsWeightedByAlpha) {
  Image image = solidImage(4, 2, {0, 0, 255, 0});
  for (const int x : {2, 3}) {
    for (int y = 0; y < 2; ++y)
      std::copy_n(std::array<unsigned char, 4>{255, 255, 0, 0}.begin(), 4, image.row(y) + x * 4);
  }
  const auto frame = FramePacker(AV_PIX_FMT_YUVA420P, AVCOL_SPC_BT709).pack(image);
  EXPECT_NEAR(102, sample(*frame, 1, 1, 0, false), 1);  // 8-bit BT.709 red
  EXPECT_NEAR(240, sample(*frame, 2, 1, 0, false), 1);
  EXPECT_EQ(0, sample(*frame, 3, 1, 0, false));
  EXPECT_EQ(255, sample(*frame, 3, 2, 1, false));
}

// A YUV picture through both matrices: the tag decides, a wrong one moves colours by many levels.
TEST(Conversion, FollowsTheTags) {
  const std::array<unsigned char, 4> green{255, 32, 192, 64};
  for (const AVColorSpace matrix : {AVCOL_SPC_BT709, AVCOL_SPC_SMPTE170M, AVCOL_SPC_BT2020_NCL}) {
    const auto frame = FramePacker(AV_PIX_FMT_YUV420P, matrix).pack(solidImage(64, 48, green));
    kalvetra::FrameConverter converter({matrix, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
    const Image back = converter.convert(*frame);
    for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(green[c], back.bytes[(24 * 64 + 32) * 4 + c], 2) << matrix;
    kalvetra::FrameConverter full({matrix, AVCOL_RANGE_JPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
    EXPECT_GT(std::abs(green[1] - full.convert(*frame).bytes[(24 * 64 + 32) * 4 + 1]), 4);
  }
  kalvetra::FrameConverter unknown({AVCOL_SPC_YCGCO, AVCOL_RANGE_MPEG, AVCOL_PRI_BT709, AVCOL_TRC_BT709});
  EXPECT_THROW(unknown.convert(*kalvetra::makePicture(AV_PIX_FMT_YUV420P, 16, 16)), UserError);
}

TEST(Conversion, MissingTagsAreGuessedByHeight) {
  std::string guess;
  const auto guessed = [&](AVPixelFormat format, int height, kalvetra::ColorTags tags = {}) {
    guess.clear();
    return kalvetra::resolveColor(tags, format, height, guess);
  };
  EXPECT_EQ(AVCOL_SPC_BT709, guessed(AV_PIX_FMT_YUV420P, 1080).matrix);
  EXPECT_EQ("BT.709 colour, limited range", guess);
  EXPECT_EQ(AVCOL_SPC_SMPTE170M, guessed(AV_PIX_FMT_YUV420P, 480).matrix);
  EXPECT_EQ(AVCOL_SPC_BT470BG, guessed(AV_PIX_FMT_YUV420P, 576).matrix);
  EXPECT_EQ(AVCOL_RANGE_JPEG, guessed(AV_PIX_FMT_YUVJ420P, 480).range);
  for (const AVPixelFormat picture : {AV_PIX_FMT_RGB24, AV_PIX_FMT_GRAYF32}) {
    EXPECT_EQ(AVCOL_TRC_IEC61966_2_1, guessed(picture, 480).transfer);
    EXPECT_EQ("", guess);
  }
  EXPECT_EQ(AVCOL_TRC_IEC61966_2_1, guessed(AV_PIX_FMT_GRAY16, 480, {.range = AVCOL_RANGE_JPEG}).transfer);
  EXPECT_EQ(AVCOL_TRC_SMPTE170M, guessed(AV_PIX_FMT_GRAY10, 480).transfer);
  const auto kept = guessed(AV_PIX_FMT_YUV420P, 1080,
                            {AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG, AVCOL_PRI_SMPTE170M, AVCOL_TRC_SMPTE170M});
  EXPECT_EQ("", guess);
  EXPECT_EQ(AVCOL_SPC_SMPTE170M, kept.matrix);
  EXPECT_EQ(AVCOL_RANGE_JPEG, kept.range);
}

TEST(Turning, QuarterTurnsMoveEveryPixel) {
  Image image(3, 2);
  for (std::size_t i = 0; i < 6; ++i) image.bytes[i * 4] = static_cast<unsigned char>(i);  // 0 1 2 / 3 4 5
  const auto order = [](const Image& turnedImage) {
    std::string text;
    for (std::size_t i = 0; i < 6; ++i) text += std::to_string(turnedImage.bytes[i * 4]);
    return text;
  };
  EXPECT_EQ("012345", order(turned(image, 0)));
  EXPECT_EQ("304152", order(turned(image, 1)));  // clockwise: 3 0 / 4 1 / 5 2
  EXPECT_EQ("543210", order(turned(image, 2)));
  EXPECT_EQ("251403", order(turned(image, 3)));
  EXPECT_EQ(2, turned(image, 1).width);
}

TEST(OutputPlace, AppearsOnlyWhenCommitted) {
  const ScratchFolder folder;
  const std::string target = folder.path("a.mov");
  {
    TemporaryOutput output(target, false);
    std::ofstream(output.path()) << "half";
  }
  EXPECT_TRUE(folder.isEmpty());
  {
    TemporaryOutput output(target, false);
    std::ofstream(output.path()) << "whole";
    EXPECT_FALSE(fs::exists(target));
    output.commit();
  }
  EXPECT_TRUE(fs::exists(target));
  EXPECT_THROW(TemporaryOutput(target, false), UserError);
  EXPECT_NO_THROW(TemporaryOutput(target, true));
  EXPECT_TRUE(fs::exists(target)) << "replaced before there was anything to replace it with";
  EXPECT_THROW(TemporaryOutput(folder.path("missing/a.mov"), false), UserError);
  EXPECT_THROW(TemporaryOutput(folder.path(""), false), UserError);
}

std::string textOf(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(OutputPlace, ASequenceReplacesItsOwnPicturesAlone) {
  const ScratchFolder folder;
  // f-0003 is not a name that %03d gives; f-1000 is.
  const std::vector<std::string> before{"f-000.png", "f-0003.png", "f-001.png", "f-002.png", "f-1000.png", "f-a.png"};
  for (const std::string& name : before) std::ofstream(folder.path(name)) << "old";
  const std::string target = folder.path("f-%03d.png");
  for (const bool replace : {true, false}) {
    TemporaryOutput output(target, replace);
    std::ofstream(output.path(replace ? 1 : 3)) << "new";
    output.commit();
  }
  std::vector<std::string> after = before;
  after.insert(after.begin() + 4, "f-003.png");
  EXPECT_EQ(after, folder.names());
  for (const std::string& name : after) {
    EXPECT_EQ(name == "f-001.png" || name == "f-003.png" ? "new" : "old", textOf(folder.path(name))) << name;
  }
  const TemporaryOutput output(target, false);
  EXPECT_THROW(output.refuseTaken(1000), UserError);
  EXPECT_THROW(output.refuseTaken({4, 1000, 2000}), UserError);
  EXPECT_NO_THROW(output.refuseTaken({4, 999, 1001}));
  EXPECT_EQ("f-0042.png", kalvetra::numberedName("f-%04d.png", 42));
  EXPECT_EQ("f-42.png", kalvetra::numberedName("f-%d.png", 42));
  EXPECT_FALSE(kalvetra::isNumberedName("100%.png"));
  EXPECT_FALSE(kalvetra::isNumberedName("%d-%d.png"));
}

bool commits(TemporaryOutput& output) {
  try {
    output.commit();
    return true;
  } catch (const UserError&) {
    return false;
  }
}

// On each kind of file system: with renames that replace nothing, with links alone, and with neither.
TEST(OutputPlace, WhatAppearsAtTheLastMomentIsKept) {
  for (lackingCalls = 0; lackingCalls < 3; ++lackingCalls) {
    const ScratchFolder folder;
    for (const bool taken : {false, true}) {
      for (const char* name : {"a.mov", "f-%d.png"}) {
        TemporaryOutput output(folder.path(name), false);
        std::vector<std::string> pictures{"a.mov"};
        if (output.isSequence()) pictures = {"f-1.png", "f-2.png", "f-3.png"};
        for (std::size_t i = 0; i < pictures.size(); ++i) {
          std::ofstream(output.isSequence() ? output.path(static_cast<int>(i) + 1) : output.path()) << "new";
        }
        output.prepare();
        const std::string place = folder.path(pictures.back());
        if (taken) std::ofstream(place) << "another's";
        EXPECT_EQ(!taken, commits(output)) << lackingCalls;
        EXPECT_EQ(taken ? "another's" : "new", textOf(place)) << lackingCalls;
        for (const std::string& picture : pictures) {
          EXPECT_EQ(!taken || picture == pictures.back(), fs::exists(folder.path(picture))) << picture;
          fs::remove(folder.path(picture));
        }
      }
      EXPECT_TRUE(folder.isEmpty()) << folder.names().front();
    }
  }
  lackingCalls = 0;
}

// Leaves hidden parts behind, as a run does that is killed.
void leaveParts(const std::vector<std::string>& targets) {
  const pid_t run = fork();
  if (run == 0) {
    std::vector<std::unique_ptr<TemporaryOutput>> outputs;
    for (const std::string& target : targets) outputs.push_back(std::make_unique<TemporaryOutput>(target, false));
    std::ofstream(outputs.back()->path(1)) << "picture";
    kill(getpid(), SIGKILL);
  }
  waitpid(run, nullptr, 0);
}

TEST(OutputPlace, PartsGoOnceTheirRunHasGone) {
  if (!fs::exists("/proc/sys/kernel/random/boot_id")) GTEST_SKIP() << "the system has no name that tells its starts";
  const ScratchFolder folder;
  const std::string movie = folder.path("a.mov"), sequence = folder.path("f-%d.png");
  for (const std::string& target : {movie, sequence}) {
    const TemporaryOutput atWork(target, false);
    const auto before = folder.names();
    leaveParts({movie, sequence});
    ASSERT_EQ(before.size() + 2, folder.names().size());
    const TemporaryOutput next(target, false);
    ASSERT_EQ(1u, next.leftParts().size());
    EXPECT_NE(std::string::npos, next.leftParts()[0].find("was left by a run that was killed: removed"));
    EXPECT_EQ(before.size() + 2, folder.names().size()) << "the next, and the other output's";
    EXPECT_TRUE(fs::exists(target == movie ? atWork.path() : fs::path(atWork.path(1)).parent_path().string()));
    const TemporaryOutput other(target == movie ? sequence : movie, false);
    EXPECT_EQ(1u, other.leftParts().size());
  }
  EXPECT_TRUE(folder.isEmpty());
  // Another machine's, another version's, and nobody's.
  for (const char* name : {".a.mov.part-0123456789ab-01234567", ".a.mov.part-01234567", ".a.mov.part-mine"}) {
    std::ofstream(folder.path(name)) << "part";
  }
  const TemporaryOutput next(movie, false);
  ASSERT_EQ(2u, next.leftParts().size());
  EXPECT_NE(std::string::npos, next.leftParts()[0].find("is of a run that cannot be seen from here"));
  EXPECT_EQ(4u, folder.names().size());
}

TEST(OutputPlace, TheInputIsNeverOverwritten) {
  const ScratchFolder folder;
  for (const char* name : {"f-001.png", "other.png"}) std::ofstream(folder.path(name)) << "picture";
  fs::create_symlink(folder.path("other.png"), folder.path("link.png"));
  const auto refused = [&](const char* input, const char* output) {
    try {
      kalvetra::refuseOverwritingInput(folder.path(input), folder.path(output));
      return false;
    } catch (const UserError&) {
      return true;
    }
  };
  EXPECT_TRUE(refused("other.png", "other.png"));
  EXPECT_TRUE(refused("other.png", "link.png"));
  EXPECT_TRUE(refused("f-%03d.png", "f-%03d.png"));
  EXPECT_TRUE(refused("f-001.png", "f-%03d.png"));
  EXPECT_TRUE(refused("f-%03d.png", "f-007.png"));
  EXPECT_FALSE(refused("f-001.png", "g-%03d.png"));
  EXPECT_FALSE(refused("f-%03d.png", "f-%05d.png"));
  EXPECT_FALSE(refused("other.png", "new.png"));
  EXPECT_FALSE(refused("f-001.png", "f-%d.png"));
}

// Matroska files that were written to a pipe; the sanitizers watch.
TEST(ClipDuration, NothingIsKnownOfAClipThatDeclaresNoEnd) {
  const std::unique_ptr<AVFormatContext, void (*)(AVFormatContext*)> container(avformat_alloc_context(),
                                                                               avformat_free_context);
  container->iformat = av_find_input_format("matroska");
  for (const std::int64_t start : {AV_NOPTS_VALUE, std::int64_t{0}, std::int64_t{217000}}) {
    container->start_time = start;
    container->duration = AV_NOPTS_VALUE;
    EXPECT_EQ(0, kalvetra::clipDuration(*container)) << start;
    container->duration = 1217000;
    EXPECT_EQ(1217000 - std::max<std::int64_t>(start, 0), kalvetra::clipDuration(*container)) << start;
  }
}

}  // namespace
