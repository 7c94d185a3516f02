// Runs that are interrupted, killed and resumed.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra::test;

constexpr int kFrames = 900;

class Resume : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    need(kFfmpeg + "-f lavfi -i testsrc2=s=320x180:r=30 -f lavfi -i sine -frames:v " + std::to_string(kFrames) +
         " -t 30 -vf colorize=hue=130:saturation=0.6:lightness=0.4 -c:v libx264 -pix_fmt yuv420p -c:a aac " + clip());
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string clip() { return folder_->path("clip.mp4"); }
  std::string command(const std::string& output, const std::string& more = "") const {
    return key(clip() + " " + output + " --threads 2 --key-color 60,190,80 " + more);
  }
  // The clip's hash as a receipt has it.
  static std::string hashIn(const std::string& receipt) { return need("grep -o 'murmur3:[0-9a-f]*' " + receipt); }
  static double secondsOf(const std::string& command) {
    const auto start = std::chrono::steady_clock::now();
    need(command);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  }
  static std::string hashOfMovie(const std::string& path) {
    return need(kFfmpeg + "-i " + path + " -map 0:v -pix_fmt rgba -f framehash - | grep -v '#' | sed 's/.*,//'");
  }
  // A run that gets the signal as soon as the journal in that folder has one segment more.
  static Outcome endedBehindASegment(const std::string& command, const std::string& signal, const std::string& folder) {
    const std::string lines = "lines() { cat " + folder + "/journal 2>/dev/null | wc -l; }; ";
    return signalledOnce("[ $(lines) -gt $had ]", lines + "had=$(lines); [ $had -gt 0 ] || had=1; " + command, signal);
  }
  static int numberIn(const std::string& text, const std::string& pattern) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(pattern)) ? std::stoi(match[1]) : -1;
  }

  static inline std::unique_ptr<ScratchFolder> folder_;
  ScratchFolder out_;
};

TEST_F(Resume, TenInterruptionsChangeNoByteAndKeyNoFrameTwice) {
  const double whole = secondsOf(command(out_.path("whole.mkv"), "--receipt " + out_.path("whole.json")));
  int kept = 0;
  Outcome outcome{130, {}};
  for (int round = 1; round <= 10; ++round) {
    const std::string moment = std::to_string(whole * (0.03 + 0.008 * ((round * 7) % 11)));
    // At that moment, or, on a machine that is quicker than before, after a segment: ten of them are not the clip.
    outcome = endedBehindASegment("timeout --preserve-status -s TERM " + moment + " " +
                                      command(out_.path("parts.mkv"), "--resume --receipt " + out_.path("parts.json")),
                                  "TERM", out_.path(".parts.mkv.unfinished"));
    if (outcome.status == 0) break;
    // 143: before the program had begun.
    ASSERT_TRUE(outcome.status == 130 || outcome.status == 143) << outcome.status << ": " << outcome.output;
    EXPECT_FALSE(fs::exists(out_.path("parts.mkv")));
    const int now = numberIn(outcome.output, "interrupted; (\\d+) frame");
    if (now >= 0) {
      EXPECT_GE(now, kept);
      kept = now;
    }
  }
  EXPECT_NE(0, outcome.status) << "the clip was done before it had been interrupted ten times";
  EXPECT_GT(kept, 0);
  const std::string last = need(command(out_.path("parts.mkv"), "--resume --receipt " + out_.path("parts.json")));
  EXPECT_EQ(kFrames, kept + numberIn(last, "keyed (\\d+) frame")) << last;
  expectHas(last, " in 3 pictures");  // those of the earlier runs too
  EXPECT_EQ(hashIn(out_.path("whole.json")), hashIn(out_.path("parts.json")));
  EXPECT_EQ(hashOfMovie(out_.path("whole.mkv")), hashOfMovie(out_.path("parts.mkv")));
  EXPECT_EQ(pictureTimes(out_.path("whole.mkv")), pictureTimes(out_.path("parts.mkv")));
  const auto sound = [](const std::string& file) {
    return need(kFfmpeg + "-i " + file + " -map 0:a -c copy -f md5 -");
  };
  EXPECT_EQ(sound(out_.path("whole.mkv")), sound(out_.path("parts.mkv")));
  EXPECT_EQ((std::vector<std::string>{"parts.json", "parts.mkv", "whole.json", "whole.mkv"}), out_.names());
}

TEST_F(Resume, GoesOnAtFullDepthAndBeginsAnewAtAnother) {
  const std::string most = "--frames 150 --resume --plain --receipt " + out_.path("r.json");
  const std::string deep = command(out_.path("o.mkv"), most + " --depth deep");
  const auto kill = [&] { return endedBehindASegment(deep, "KILL", out_.path(".o.mkv.unfinished")).status; };
  EXPECT_EQ(137, kill());
  expectHas(need(command(out_.path("o.mkv"), most + " --depth 8")), "keyed anew");
  fs::remove(out_.path("o.mkv"));
  fs::remove(out_.path("r.json"));
  EXPECT_EQ(137, kill());
  expectHas(need(deep), "going on after");
  const std::string hashes =
      need(key(clip() + " -f hash --frames 150 --plain --depth deep --threads 1 --key-color 60,190,80 2>/dev/null"));
  expectHas(hashes, hashIn(out_.path("r.json")).substr(8, 32));
}

TEST_F(Resume, AKilledRunIsResumedInEveryKindOfOutput) {
  for (const std::string name : {"o.mov", "o.webm", "o-%04d.png"}) {
    const bool isNumbered = name.ends_with(".png");
    const std::string also = std::string(isNumbered ? " --start-number 1001" : "") + " --frames 180 --also matte=";
    need(command(out_.path("whole-" + name), also + out_.path("wm.mkv")));
    const std::string output = out_.path(name), more = also + out_.path("m.mkv") + " --resume";
    const Outcome killed = endedBehindASegment(command(output, more), "KILL", out_.path(".m.mkv.unfinished"));
    EXPECT_EQ(137, killed.status) << "done before it could be killed";
    EXPECT_FALSE(fs::exists(out_.path("m.mkv")));
    expectHas(need(command(output, more)), "going on after");
    EXPECT_EQ(180u, readAll(out_.path("m.mkv")).size()) << name;
    const std::vector<kalvetra::Image> parts = readAll(output), whole = readAll(out_.path("whole-" + name));
    ASSERT_EQ(180u, parts.size()) << name;
    EXPECT_EQ(isNumbered, fs::exists(out_.path("o-1001.png")) && fs::exists(out_.path("o-1180.png")));
    double worst = 0.0;
    for (std::size_t i = 0; i < parts.size(); ++i) worst = std::max(worst, meanDifference(parts[i], whole[i], 0, 4));
    EXPECT_LE(worst, name == "o.webm" ? 3.0 : 0.0) << name;  // VP9 codes each part from scratch
    for (const std::string& file : out_.names()) {
      EXPECT_EQ(std::string::npos, file.find("unfinished")) << file;
      fs::remove_all(out_.path(file));
    }
  }
}

// Interrupted while it waits for a background of four pictures a frame, in the middle of its 63rd frame.
TEST_F(Resume, NoFrameIsKeptWhoseBackgroundWasCutOff) {
  const std::string background = folder_->path("hues.nut"), output = out_.path("o.mkv");
  need(kFfmpeg + "-f lavfi -i color=red:s=8x4:r=120:d=4,format=rgb24,hue=H=n/5 -c:v rawvideo -pix_fmt rgb24 " +
       background);
  const std::string more = "--frames 70 --no-sound --view comp --resume --over -";
  need(command(out_.path("whole.mkv"), more) + " < " + background);
  const auto pictures = static_cast<int>(fs::file_size(background)) * 250 / 480;
  const Outcome ended = endedBehindASegment(stalled(command(output, more), background, pictures, out_.path("pipe")),
                                            "TERM", out_.path(".o.mkv.unfinished"));
  EXPECT_EQ(130, ended.status) << ended.output;
  expectHas(ended.output, "frames are kept");
  need(command(output, more) + " < " + background);
  EXPECT_EQ(hashOfMovie(out_.path("whole.mkv")), hashOfMovie(output));
}

// Everything that ffprobe says of a file and its streams, but for its name and what follows from how much of it the
// codec repeats at the beginning of each part.
nlohmann::json described(const std::string& path) {
  nlohmann::json all = nlohmann::json::parse(need("ffprobe -v error -of json -show_format -show_streams " + path));
  all["format"].erase("filename");
  for (nlohmann::json* part : {&all["format"], &all["streams"][0]}) {
    part->erase("size");
    part->erase("bit_rate");
  }
  return all;
}

// Pictures of odd shapes, orders, depths, times and rates.
const std::string kOddSources[] = {
    // DV's pixels, the bottom field first, timecode.
    "-f lavfi -i testsrc2=s=72x58:r=25 -f lavfi -i sine=r=48000 -t 2.6 -vf setsar=64/45,setfield=bff -c:v mpeg2video "
    "-flags +ildct+ilme -top 0 -timecode 10:00:00:00 -colorspace smpte170m -color_primaries smpte170m "
    "-color_trc bt709 -color_range tv -c:a pcm_s16le ",
    // Ten bits, the top field first.
    "-f lavfi -i testsrc2=s=72x58:r=50 -f lavfi -i sine=r=48000 -t 1.3 -vf setsar=64/45,setfield=tff -c:v ffv1 "
    "-pix_fmt yuv422p10le -field_order tt -color_range tv -c:a libopus ",
    // To be turned, a rate of no whole number, timecode that drops frames, wide colours.
    "-f lavfi -i testsrc2=s=72x58:r=30000/1001 -f lavfi -i sine -t 2.2 -metadata:s:v rotate=90 -c:v libx264 "
    "-pix_fmt yuv420p -colorspace bt2020nc -color_primaries bt2020 -color_trc bt2020-10 -c:a aac "
    "-timecode '01:00:00;00' ",
    // The last picture stays, and the pictures begin late.
    "-f lavfi -i testsrc2=s=72x58:r=25 -t 2.6 -c:v mjpeg -f nut - | ffmpeg -v error -y -i - -c copy -output_ts_offset "
    "0.2 "
    "-bsf:v 'setts=pts=PTS:dts=DTS:duration=if(eq(N\\,64)\\,9*DURATION\\,DURATION)' "};

TEST_F(Resume, AJoinedMovieIsDescribedAsAnUndisturbedOne) {
  const std::pair<std::string, std::string> kinds[] = {
      {"prores4444", ".mov"}, {"animation", ".mov"}, {"ffv1", ".mkv"}, {"vp9", ".webm"}};
  const std::string whole = out_.path("whole"), joined = out_.path("joined");
  for (const std::string& options : kOddSources) {
    const std::string source = out_.path(options.find("ffv1") != std::string::npos ? "source.mkv" : "source.mov");
    need(kFfmpeg + options + source);
    for (const auto& [codec, extension] : kinds) {
      const std::string more = " -y --key-color 60,190,80 --threads 1 --codec " + codec;
      need(key(source + " " + whole + extension + more));
      need(key(source + " " + joined + extension + more + " --resume"));  // two segments
      if (codec == "prores4444") expectHas(probe("stream=codec_tag_string", joined + extension), "ap4h");
      EXPECT_EQ(described(whole + extension).dump(1), described(joined + extension).dump(1)) << codec << options;
      EXPECT_EQ(probe("packet=pts,duration", whole + extension), probe("packet=pts,duration", joined + extension));
    }
  }
}

TEST_F(Resume, AnotherJobDoesNotResumeIt) {
  const std::string output = out_.path("o.mkv"), part = "--frames 200 ";
  const std::string also = part + "--resume --also matte=" + out_.path("m.mkv") + " ";
  need(command(out_.path("whole.mkv"), part + "--also matte=" + out_.path("wm.mkv")));
  ASSERT_EQ(130, endedBehindASegment(command(output, also), "TERM", out_.path(".m.mkv.unfinished")).status);
  const Outcome refused = run(command(output, also + "--shadow 50"));
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "holds an unfinished run that differs in its settings; repeat that run");
  const Outcome second =
      run(command(out_.path("m.mkv"), part + "--resume"));  // nor one that begins in the matte's folder
  EXPECT_EQ(1, second.status);
  expectHas(second.output, "m.mkv.unfinished holds an unfinished run that differs in its output");
  // The folder of one output is gone: that one starts again, and so do all.
  fs::remove_all(out_.path(".m.mkv.unfinished"));
  const std::string anew = need(command(output, also));
  EXPECT_EQ(std::string::npos, anew.find("going on")) << anew;
  EXPECT_EQ(200u, readAll(out_.path("m.mkv")).size());
  EXPECT_EQ(hashOfMovie(out_.path("whole.mkv")), hashOfMovie(output));
}

TEST_F(Resume, WhatCannotBeResumedIsRefused) {
  const std::pair<std::string, std::string> cases[] = {
      {clip() + " " + out_.path("o.mp4") + " --resume --view matte", "cannot be written in parts"},
      {clip() + " - --resume", "standard output cannot be resumed"},
      {clip() + " " + out_.path("o.nut") + " --resume", "cannot be written in parts"},
      {clip() + " " + out_.path("o.png") + " --frames 1 --resume", "cannot be written in parts"},
      {"- " + out_.path("o.mkv") + " --resume", "standard input cannot be read again"},
  };
  for (const auto& [arguments, sentence] : cases) {
    const Outcome refused = run(key(arguments + " --key-color 60,190,80"));
    EXPECT_EQ(1, refused.status) << arguments;
    expectHas(refused.output, sentence);
  }
  const Outcome missing = run(key(out_.path("none.mp4") + " " + out_.path("o.mkv") + " --resume"));
  EXPECT_EQ(1, missing.status);
  expectHas(missing.output, "there is no such file");
  const Outcome usage = run(key(clip() + " -f null --resume"));
  EXPECT_EQ(2, usage.status);
  expectHas(usage.output, "-f null keeps nothing");
  EXPECT_TRUE(out_.isEmpty());
}

// What the clip is made of is looked for in all of it by the resumed run, too.
TEST_F(Resume, JoinsAKeyByMaterials) {
  const std::string more = "--refine --despill material --end 130f ", whole = out_.path("w.json");
  need(command(out_.path("whole.mkv"), more + "--receipt " + whole));
  const std::string parts = command(out_.path("parts.mkv"), more + "--resume --receipt " + out_.path("p.json"));
  EXPECT_EQ(130, endedBehindASegment(parts, "TERM", out_.path(".parts.mkv.unfinished")).status);
  expectHas(need(parts), "going on after");
  EXPECT_EQ(hashIn(whole), hashIn(out_.path("p.json")));
}

}  // namespace
