// kalvetra probe on real files.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra::test;
using nlohmann::json;

const std::string kSource = kFfmpeg + "-f lavfi -i testsrc2=s=320x180:r=25:d=1 ";

json probed(const std::string& arguments) {
  const Outcome outcome = run(kKalvetra + " probe --json " + arguments);
  EXPECT_EQ(0, outcome.status) << outcome.output;
  return json::parse(outcome.output);
}

bool warns(const json& report, const std::string& part) {
  for (const json& warning : report.at("warnings")) {
    if (warning.get<std::string>().find(part) != std::string::npos) return true;
  }
  return false;
}

std::string origins(const json& report) {
  std::string all;
  for (const char* name : {"matrix", "range", "primaries", "transfer"}) {
    all += report.at(name).at("origin").get<std::string>().substr(0, 1);
  }
  return all;
}

TEST(Probe, ATaggedClipOfACamera) {
  const ScratchFolder folder;
  const std::string clip = folder.path("camera.mov");
  const std::string upright = folder.path("upright.mov");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=320x180:r=30000/1001:d=1 -f lavfi -i sine=r=48000:d=1 -ac 2 -vf " +
       "setsar=4/3,format=yuv422p10le,setparams=range=tv:color_primaries=bt709:color_trc=bt709:colorspace=bt709 " +
       "-c:v prores_ks -color_primaries bt709 -color_trc bt709 -colorspace bt709 -c:a pcm_s16le " +
       "-timecode 01:02:03:04 " + upright);
  need(kFfmpeg + "-i " + upright + " -c copy -metadata:s:v rotate=90 " + clip);
  const json report = probed(clip);
  EXPECT_EQ("prores", report.at("codec"));
  EXPECT_EQ(320, report.at("width"));
  EXPECT_EQ("yuv422p10le", report.at("pixelFormat"));
  EXPECT_EQ(10, report.at("depth"));
  EXPECT_EQ("4:2:2", report.at("chroma"));
  EXPECT_EQ("tttt", origins(report));
  EXPECT_EQ("bt709", report.at("matrix").at("value"));
  EXPECT_EQ("none", report.at("alpha").at("kind"));
  EXPECT_EQ("30000/1001", report.at("frameRate"));
  EXPECT_EQ("4:3", report.at("pixelAspect"));
  EXPECT_EQ(270, report.at("rotation"));  // the matrix that the tag makes turns the other way round
  EXPECT_EQ("progressive", report.at("fieldOrder"));
  EXPECT_EQ("01:02:03:04", report.at("timecode"));
  EXPECT_EQ(30, report.at("frames"));
  EXPECT_TRUE(report.at("framesCounted").get<bool>());
  EXPECT_NEAR(1.0, report.at("seconds").get<double>(), 0.05);
  EXPECT_TRUE(report.at("intraOnly").get<bool>());
  EXPECT_FALSE(report.at("variableRate").get<bool>());
  EXPECT_EQ((json{{{"codec", "pcm_s16le"}, {"channels", 2}, {"sampleRate", 48000}}}), report.at("sound"));
  EXPECT_EQ(json::array(), report.at("warnings"));
}

TEST(Probe, HdrIsWarnedOfByProbeAndKey) {
  const ScratchFolder folder;
  for (const auto& [transfer, name] : {std::pair{"smpte2084", "PQ"}, {"arib-std-b67", "HLG"}, {"bt2020-10", ""}}) {
    const std::string clip = folder.path(std::string(transfer) + ".mkv"), sentence = "the colours are HDR (";
    need(kFfmpeg + "-f lavfi -i color=green:s=32x32:d=0.08 -pix_fmt yuv420p10le -c:v ffv1 -colorspace bt2020nc " +
         "-color_primaries bt2020 -color_range tv -color_trc " + transfer + " " + clip);
    const std::string said = need(key(clip + " -f null --key-color 0,128,0"));
    if (std::string(name).empty()) {
      EXPECT_FALSE(warns(probed(clip), sentence) || said.find(sentence) != std::string::npos);
      continue;
    }
    EXPECT_TRUE(warns(probed(clip), sentence + name + "): the keyer takes their code values as they are"));
    expectHas(said, clip + ": " + sentence + name + ")");
    const std::string light = key(clip + " " + folder.path("o.exr") + " -y --frames 1 --key-color 0,128,0");
    const Outcome refused = run(light + " --depth 8");
    EXPECT_EQ(1, refused.status);
    expectHas(refused.output, "cannot be turned into it in 8 bits");
    need(light);
  }
}

TEST(Probe, AnUntaggedLongGopClipIsWarnedOf) {
  const ScratchFolder folder;
  const std::string clip = folder.path("phone.mkv");
  need(kSource + "-pix_fmt yuv420p -c:v libx264 -g 8 -sc_threshold 0 -b:v 20k -vf setparams=colorspace=unknown " +
       clip);
  const json report = probed(clip);
  EXPECT_EQ("gggg", origins(report));
  EXPECT_EQ("smpte170m", report.at("matrix").at("value"));
  EXPECT_EQ("limited", report.at("range").at("value"));
  EXPECT_FALSE(report.at("intraOnly").get<bool>());
  EXPECT_EQ(8, report.at("keyInterval"));
  EXPECT_TRUE(warns(report, "8-bit 4:2:0 video in a long GOP"));
  EXPECT_TRUE(warns(report, "the colour matrix is not tagged; smpte170m is guessed"));
  EXPECT_TRUE(warns(report, "bits a pixel"));
  EXPECT_FALSE(warns(report, "varies"));
  EXPECT_FALSE(warns(report, "range"));
}

TEST(Probe, ALosslessClipIsNotBlocky) {
  const ScratchFolder folder;
  const std::string clip = folder.path("archive.mkv");
  need(kSource + "-pix_fmt yuv420p -c:v ffv1 -g 8 " + clip);
  const json report = probed(clip);
  EXPECT_FALSE(report.at("intraOnly").get<bool>());
  EXPECT_FALSE(warns(report, "long GOP"));
}

TEST(Probe, VariableRateIsSeenAndRoundingIsNot) {
  const ScratchFolder folder;
  const std::string film = kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=24000/1001:d=2 ";
  need(film + "-c:v libx264 -bf 2 " + folder.path("even.mkv"));  // milliseconds: 41 and 42
  need(film + "-c:v libx264 -bf 2 " + folder.path("even.mp4"));
  need(film + "-vf \"setpts='if(lt(N,30),N,N*2-30)*1001/24000/TB'\" -fps_mode vfr -c:v libx264 " +
       folder.path("odd.mkv"));
  need(film + "-vf \"setpts='if(lt(N,30),N,N*2-30)*1001/24000/TB'\" -fps_mode vfr -c:v libx264 " +
       folder.path("odd.mp4"));
  for (const char* name : {"even.mkv", "even.mp4"})
    EXPECT_FALSE(probed(folder.path(name)).at("variableRate").get<bool>()) << name;
  for (const char* name : {"odd.mkv", "odd.mp4"}) {
    const json report = probed(folder.path(name));
    EXPECT_TRUE(report.at("variableRate").get<bool>()) << name;
    EXPECT_TRUE(warns(report, "the frame rate varies"));
  }
}

TEST(Probe, FieldsAndChromaSiting) {
  const ScratchFolder folder;
  need(kFfmpeg +
       "-f lavfi -i testsrc2=s=160x96:r=50:d=0.4 -vf tinterlace=interleave_top -pix_fmt yuv420p -c:v libx264 " +
       "-flags +ildct+ilme -x264opts tff=1 -chroma_sample_location topleft " + folder.path("i.mp4"));
  const json report = probed(folder.path("i.mp4"));
  EXPECT_EQ("top field first", report.at("fieldOrder"));
  EXPECT_TRUE(warns(report, "interlaced"));
  EXPECT_EQ((json{{"value", "topleft"}, {"origin", "tagged"}}), report.at("chromaSiting"));
  need(kSource + "-frames:v 2 -pix_fmt yuv422p -c:v ffv1 " + folder.path("u.nut"));
  EXPECT_EQ("guessed", probed(folder.path("u.nut")).at("chromaSiting").at("origin"));
}

// The same picture in every pairing of what it holds and what its tag says; and pictures that merely lack blacks and
// whites, or have the highlights of a camera.
TEST(Probe, TheRangeIsDoubtedOnlyForAReason) {
  const ScratchFolder folder;
  const auto doubt = [&](const std::string& levels, const std::string& tag) {
    const std::string clip = folder.path("r.mkv");
    need(kFfmpeg + "-f lavfi -i color=black:s=160x96:r=25:d=0.4 -vf \"format=yuv444p,geq=lum='" + levels +
         "':cb=128:cr=128,setparams=range=" + tag + "\" -c:v ffv1 " + clip);
    const json report = probed(clip);
    EXPECT_EQ(tag == "pc" ? "full" : "limited", report.at("range").at("value"));
    return warns(report, "looks limited") ? "limited" : warns(report, "looks full") ? "full" : "none";
  };
  const std::string limited = "if(lt(X,20),16,if(gt(X,140),235,40+X))", full = "if(lt(X,20),0,if(gt(X,140),255,40+X))";
  EXPECT_STREQ("none", doubt(limited, "tv"));
  EXPECT_STREQ("none", doubt(full, "pc"));
  EXPECT_STREQ("limited", doubt(limited, "pc"));
  EXPECT_STREQ("full", doubt(full, "tv"));
  EXPECT_STREQ("none", doubt("60+X/2", "pc"));
  EXPECT_STREQ("none", doubt("60+X/2", "tv"));
  EXPECT_STREQ("none", doubt("20+X", "pc"));
  EXPECT_STREQ("none", doubt("if(lt(X,20),16,if(gt(X,120),253,40+X))", "tv"));
}

TEST(Probe, AlphaAndHowItIsKnown) {
  const ScratchFolder folder;
  const std::string picture = kSource + "-frames:v 1 ";
  need(picture + "-pix_fmt rgba " + folder.path("a.png"));
  need(picture + "-pix_fmt gbrapf32le " + folder.path("a.exr"));
  need(picture + "-pix_fmt yuva444p10le -c:v prores_ks " + folder.path("a.mov"));
  EXPECT_EQ("straight", probed(folder.path("a.png")).at("alpha").at("kind"));
  EXPECT_EQ("premultiplied", probed(folder.path("a.exr")).at("alpha").at("kind"));
  EXPECT_FALSE(warns(probed(folder.path("a.exr")), "premultiplied")) << "divided at full depth";
  EXPECT_TRUE(warns(probed(folder.path("a.exr") + " --depth 8"), "premultiplied"));
  const json unknown = probed(folder.path("a.mov")).at("alpha");
  EXPECT_EQ("unknown", unknown.at("kind"));
  expectHas(unknown.at("reason"), "taken for straight");
  const json still = probed(folder.path("a.png"));
  EXPECT_TRUE(still.at("still").get<bool>());
  EXPECT_EQ(1, still.at("frames"));
  EXPECT_EQ("ii", origins(still).substr(0, 2)) << "RGB leaves no choice of matrix and range";
}

TEST(Probe, SequencesRawPicturesAndPipes) {
  const ScratchFolder folder;
  need(kSource + "-start_number 7 " + folder.path("s-%03d.png"));
  std::filesystem::remove(folder.path("s-010.png"));
  const json sequence = probed(folder.path("s-%03d.png"));
  EXPECT_EQ(24, sequence.at("frames"));
  EXPECT_DOUBLE_EQ(1.0, sequence.at("seconds").get<double>());
  EXPECT_FALSE(sequence.at("variableRate").get<bool>());
  EXPECT_TRUE(warns(sequence, "1 picture is missing (10)"));

  need(kSource + "-pix_fmt yuv422p10le -f rawvideo " + folder.path("bare"));
  const json bare = probed(folder.path("bare") + " --raw 320x180@50:yuv422p10le");
  EXPECT_EQ(25, bare.at("frames"));
  EXPECT_EQ("50/1", bare.at("frameRate"));
  EXPECT_EQ("unknown", bare.at("fieldOrder"));

  need(kSource + "-pix_fmt yuv420p -c:v libx264 " + folder.path("p.ts"));
  const Outcome piped = run("cat " + folder.path("p.ts") + " | " + kKalvetra + " probe - --json");
  EXPECT_EQ(0, piped.status);
  EXPECT_EQ("h264", json::parse(piped.output).at("codec"));
}

TEST(Probe, TextIsAlignedAndSaysTheSame) {
  const ScratchFolder folder;
  need(kSource + "-pix_fmt yuv420p -c:v libx264 " + folder.path("p.mkv"));
  const std::string text = need(kKalvetra + " probe " + folder.path("p.mkv"));
  expectHas(text, "\npixel format    yuv420p, 8 bits, 4:2:0\n");
  expectHas(text, "\nmatrix          smpte170m (guessed)\n");
  expectHas(text, "\nfield order     progressive\n");
  expectHas(text, "\nwarning         8-bit 4:2:0");
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    ASSERT_GT(line.size(), 16u);
    EXPECT_EQ(' ', line[15]) << line;
    EXPECT_NE(' ', line[16]) << line;
  }
}

TEST(Probe, BadUseGetsOneSentence) {
  const ScratchFolder folder;
  need("echo nothing > " + folder.path("text.mp4"));
  const auto refused = [](const std::string& arguments, int status, const std::string& sentence) {
    const Outcome outcome = run(kKalvetra + " probe " + arguments);
    EXPECT_EQ(status, outcome.status) << arguments;
    expectHas(outcome.output, sentence);
    EXPECT_EQ(1, std::count(outcome.output.begin(), outcome.output.end(), '\n'));
  };
  refused("", 2, "FILE is required");
  refused(folder.path("none.mp4"), 1, "there is no such file");
  refused(folder.path("text.mp4"), 1, "not a video");
  refused(folder.path("n-%d.png"), 1, "no file has a name of this pattern");
  refused(folder.path("text.mp4") + " --raw 2x2:rgb24", 2, "does not describe raw pictures");
  refused(folder.path("text.mp4") + " --raw 64x64@25:rgb24", 1, "no picture in it can be read");
  need(kSource + "-frames:v 2 " + folder.path("a.mkv"));
  refused(folder.path("a.mkv") + " > /dev/full", 1, "standard output cannot be written");
}

}  // namespace
