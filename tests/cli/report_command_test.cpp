// The report on real files: what is taken for the matte, the limits, what is refused.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::test::expectHas;
using kalvetra::test::kFfmpeg;
using kalvetra::test::kKalvetra;
using kalvetra::test::need;
using kalvetra::test::Outcome;
using kalvetra::test::run;
using kalvetra::test::ScratchFolder;
using Json = nlohmann::json;

// A grey matte with a solid box in the middle of an otherwise clear picture. Haze is 51 of 255, 20 %; holes are 10 %.
const std::string kMatte =
    "-f lavfi -i "
    "\"color=black:s=160x90:r=10:d=0.8,format=gray,geq=lum='if(between(X,50,110)*between(Y,20,70),229.5,51)'\" ";

std::string report(const std::string& arguments) { return kKalvetra + " report " + arguments; }
Json jsonOf(const std::string& file) { return Json::parse(need(report("--json '" + file + "'"))); }

// The matte as the alpha of a coloured clip.
std::string keyedClip(const std::string& file, const std::string& codec) {
  need(kFfmpeg + kMatte + "-f lavfi -i color=orange:s=160x90:r=10:d=0.8 -filter_complex '[1][0]alphamerge' " + codec +
       " " + file);
  return file;
}

TEST(ReportCommand, TakesTheAlphaOfEveryKindOfKeyedFile) {
  const ScratchFolder folder;
  const std::string files[] = {
      keyedClip(folder.path("a.mov"), "-c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10le -alpha_bits 16"),
      keyedClip(folder.path("a.webm"), "-c:v libvpx-vp9 -crf 4 -b:v 0 -pix_fmt yuva420p -auto-alt-ref 0"),
      keyedClip(folder.path("a.mkv"), "-c:v ffv1 -pix_fmt bgra"),
      keyedClip(folder.path("a-%03d.png"), "-pix_fmt rgba"),
  };
  for (const std::string& file : files) {
    const Json json = jsonOf(file);
    EXPECT_EQ("alpha", json["measured"]) << file;
    EXPECT_EQ(8, json["frames"]) << file;
    EXPECT_NEAR(20.0, json["haze_percent"]["mean"], 0.6) << file;
    EXPECT_NEAR(10.0, json["holes_percent"]["mean"], 0.6) << file;
    EXPECT_LT(json["flicker_levels"]["mean"], 1.0) << file;
  }
}

TEST(ReportCommand, TakesTheGreyOfAMatte) {
  const ScratchFolder folder;
  const std::string grey = folder.path("grey-%03d.png"), video = folder.path("grey.mkv"), opaque = folder.path("m.mov");
  need(kFfmpeg + kMatte + "-pix_fmt gray " + grey);
  need(kFfmpeg + kMatte + "-c:v libx264 -crf 4 -pix_fmt yuv420p -color_range tv " + video);
  need(kFfmpeg + kMatte + "-c:v prores_ks -profile:v 4444 -pix_fmt yuva444p10le " + opaque);
  for (const std::string& file : {grey, video, opaque}) {
    const Json json = jsonOf(file);
    EXPECT_EQ("grey", json["measured"]) << file;
    EXPECT_NEAR(20.0, json["haze_percent"]["mean"], 0.6) << file;
    EXPECT_NEAR(10.0, json["holes_percent"]["mean"], 0.6) << file;
  }
}

TEST(ReportCommand, PrintsALineAFigure) {
  const ScratchFolder folder;
  const std::string clip = keyedClip(folder.path("a.mkv"), "-c:v ffv1 -pix_fmt bgra");
  const std::string text = need(report(clip));
  expectHas(text, clip + ": 8 frames of 160 x 90, measured in its alpha\n");
  expectHas(text, "edge flicker        0.00          0.00   in frame 2\n");
  expectHas(text, "haze               20.00 %       20.00 % in frame 1\n");
  expectHas(text, "hazy pixels       100.00 %      100.00 % in frame 1\n");
  expectHas(text, "holes              10.");
  expectHas(text, "  of its pixels 0.0 % are clear, 100.0 % partial, 0.0 % solid\n");  // 20 % and 90 %: none is either
}

TEST(ReportCommand, FailsOverALimitWithASentenceForEach) {
  const ScratchFolder folder;
  const std::string clip = keyedClip(folder.path("a.mkv"), "-c:v ffv1 -pix_fmt bgra");
  need(report(clip + " --max-flicker 0 --max-haze 20 --max-holes 11"));
  const Outcome over = run(report(clip + " --max-haze 19.9 --max-holes 2 --max-flicker 1"));
  EXPECT_EQ(1, over.status);
  expectHas(over.output, "kalvetra: " + clip + ": the haze is 20 %, over the limit of 19.9 %; worst is frame 1\n");
  expectHas(over.output, ": the share of holes is 10.2 %, over the limit of 2 %");
  EXPECT_EQ(std::string::npos, over.output.find("flicker is"));
  expectHas(over.output, "edge flicker");  // the figures are printed all the same
}

// Seven pictures of 20 % haze and one of 30 %: 21.25 % of the clip, and that is what a limit is about.
TEST(ReportCommand, LimitsAreHeldAgainstTheClipAndNotItsWorstFrame) {
  const ScratchFolder folder;
  need(kFfmpeg +
       "-f lavfi -i \"color=black:s=160x90:r=10:d=0.8,format=gray,geq=lum="
       "'if(between(X,50,110)*between(Y,20,70),255,if(eq(N,3),76.5,51))'\" -pix_fmt gray " +
       folder.path("m-%d.png"));
  need(report(folder.path("m-%d.png") + " --max-haze 21.5 --max-flicker 60"));
  const Outcome over = run(report(folder.path("m-%d.png") + " --max-haze 21"));
  EXPECT_EQ(1, over.status);
  expectHas(over.output, "the haze is 21.2");
  expectHas(over.output, "worst is frame 4");
}

TEST(ReportCommand, ALimitThatCannotBeCheckedFails) {
  const ScratchFolder folder;
  need(kFfmpeg + kMatte + "-frames:v 1 -pix_fmt gray " + folder.path("one.png"));
  need(kFfmpeg + "-f lavfi -i color=black:s=64x64:d=0.4:r=10,format=gray,geq=lum=255 " + folder.path("solid-%d.png"));
  EXPECT_EQ(1, jsonOf(folder.path("one.png"))["frames"]);
  EXPECT_TRUE(jsonOf(folder.path("one.png"))["flicker_levels"].is_null());
  const Outcome one = run(report(folder.path("one.png") + " --max-flicker 200"));
  EXPECT_EQ(1, one.status);
  expectHas(one.output, "flicker cannot be held to a limit: no four pictures in a row have an edge");
  const Outcome solid = run(report(folder.path("solid-%d.png") + " --max-haze 100"));
  EXPECT_EQ(1, solid.status);
  expectHas(solid.output, "the haze cannot be held to a limit: no picture has a clear region");
  need(report(folder.path("solid-%d.png") + " --max-holes 0"));
}

TEST(ReportCommand, RefusesWhatHoldsNoMatte) {
  const ScratchFolder folder;
  const std::string colours = folder.path("c.mp4"), later = folder.path("later-%d.png");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=10:d=0.5 -pix_fmt yuv420p " + colours);
  const Outcome opaque = run(report(colours));
  EXPECT_EQ(1, opaque.status);
  expectHas(opaque.output, colours + ": has no alpha, and picture 1 is not grey; name a keyed clip with alpha, or");
  // Begins like a matte, and has colour or alpha later on.
  need(kFfmpeg + kMatte + "-frames:v 2 -pix_fmt rgba " + later);
  need(kFfmpeg + "-f lavfi -i testsrc2=s=160x90:r=10 -frames:v 1 -pix_fmt rgba " + folder.path("later-2.png"));
  expectHas(run(report(later)).output, "begins as a matte in grey, and picture 2 is not grey");
  need(kFfmpeg + "-f lavfi -i color=gray@0.5:s=160x90,format=rgba -frames:v 1 " + folder.path("later-2.png"));
  expectHas(run(report(later)).output, "begins as an opaque matte in grey, and picture 2 is not opaque");
}

TEST(ReportCommand, RefusesWrongLimitsAndFiles) {
  for (const char* limit : {"nan", "-1", "256", "x", "1x", "''"}) {
    const Outcome wrong = run(report(std::string("a.mov --max-flicker=") + limit));
    EXPECT_EQ(2, wrong.status) << limit;
  }
  expectHas(run(report("a.mov --max-haze 101")).output, "--max-haze: '101' is no limit; give a number from 0 to 100");
  EXPECT_EQ(1, run(report("/nowhere/a.mov")).status);
  expectHas(run(report("/nowhere/a.mov")).output, "there is no such file");
}

TEST(ReportCommand, ADamagedFileFailsAfterItsFigures) {
  const ScratchFolder folder;
  const std::string clip = keyedClip(folder.path("a.mkv"), "-c:v ffv1 -pix_fmt bgra");
  std::filesystem::resize_file(clip, std::filesystem::file_size(clip) / 2);
  const Outcome cut = run(report(clip));
  EXPECT_EQ(1, cut.status);
  expectHas(cut.output, "haze               20.00 %");
  expectHas(cut.output, "the file is damaged: ");
}

// A veil that is made solid has fewer holes in its matte, and is the worse key beside its source.
TEST(ReportCommand, BesideTheSourceARuinedVeilIsTheWorse) {
  const ScratchFolder folder;
  const std::string shot = folder.path("shot.mkv"), good = folder.path("good.mkv"), ruined = folder.path("ruined.mkv");
  need(kFfmpeg +
       "-f lavfi -i color=0x2da54b:s=240x160:r=10:d=0.4,format=gbrp -vf "
       "drawbox=62:37:48:123:0xcd9678:t=fill,drawbox=110:37:48:123:0x578e66:t=fill -c:v ffv1 -pix_fmt gbrp " +
       shot);
  need(kKalvetra + " key " + shot + " " + good + " --key-color '#2da54b'");
  need(kKalvetra + " key " + shot + " " + ruined + " --key-color '#2da54b' --clip-white 40");
  const std::string beside = " --source " + shot, named = beside + " --key-color '#2da54b' --screen green";
  const Json a = Json::parse(need(report(good + beside + " --json"))),
             b = Json::parse(need(report(ruined + named + " --json")));
  EXPECT_EQ("#2da54b", a["key_color"]);
  EXPECT_EQ("green", a["screen"]);
  EXPECT_EQ(4, a["compared_pictures"]);
  EXPECT_GT(b["error_levels"]["mean"], 2.0 * a["error_levels"]["mean"].get<double>());
  EXPECT_GT(b["filled_levels"]["mean"], 5.0);
  expectHas(need(report(good + beside + " --max-filled 5")), "beside the source, key colour #2da54b, a green screen");
  const Outcome refused = run(report(ruined + beside + " --max-filled 5"));
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "the fault 'filled' is ");
  const std::string small = folder.path("small.png"), matte = folder.path("matte.png"), half = folder.path("half.mkv");
  need(kFfmpeg + "-i " + shot + " -frames:v 1 -vf scale=120:80 " + small);
  need(kFfmpeg + "-i " + shot + " -frames:v 1 -vf format=gray " + matte);
  need(kFfmpeg + "-i " + shot + " -frames:v 2 -c:v copy " + half);
  expectHas(run(report(good + " --source " + small)).output,
            "its pictures are of 120 x 80, the keyed ones of 240 x 160");
  expectHas(run(report(good + " --source " + half)).output, "it ends after 2 pictures, before the keyed clip does");
  expectHas(run(report(matte + beside)).output, "only a keyed clip with alpha is compared with --source");
  expectHas(run(report(good + " --max-error 1")).output, "--source");
}

// What a file says of its alpha and its display matrix is heeded; a key of a part is not compared with another part.
TEST(ReportCommand, BesideTheSourceEveryWayToStoreAKeyGetsTheSameFigures) {
  const ScratchFolder folder;
  const std::string shot = folder.path("shot.mov"), turned = folder.path("turned.mov"), cut = folder.path("cut.mkv");
  need(kFfmpeg +
       "-f lavfi -i color=0x2da54b:s=240x160:r=10:d=0.4,format=gbrp -vf "
       "drawbox=62:37:48:123:0xcd9678:t=fill,drawbox=110:37:48:123:0x578e66:t=fill,boxblur=3 -c:v png -pix_fmt rgb24 " +
       shot);
  need(kFfmpeg + "-i " + shot + " -c copy -metadata:s:v rotate=90 " + turned);
  const auto key = [&](const std::string& from, const std::string& name, const std::string& more = "") {
    need(kKalvetra + " key " + from + " " + folder.path(name) +
         " --key-color '#2da54b' --edge-blur on --blur-radius 8 --despill-skin 0" + more);
    return folder.path(name);
  };
  const auto errorOf = [](const std::string& keyed, const std::string& source) {
    return Json::parse(need(report(keyed + " --source " + source + " --json")))["error_levels"]["mean"].get<double>();
  };
  const double straight = errorOf(key(shot, "straight.mkv"), shot);
  EXPECT_GT(straight, 0.1);
  EXPECT_NEAR(straight, errorOf(key(shot, "times.mkv", " --alpha premultiplied"), shot), 0.003);
  EXPECT_NEAR(straight, errorOf(key(turned, "upright-%d.png"), turned), 0.003);
  EXPECT_NEAR(straight, errorOf(key(turned, "tagged.mov", " --codec animation"), turned), 0.003);
  const std::string part = key(shot, "part.mkv", " --start 2f");
  expectHas(run(report(part + " --source " + shot)).output, "it has more pictures than the keyed clip");
  need(kKalvetra + " key " + shot + " " + cut + " --view source --start 2f");
  EXPECT_NEAR(straight, errorOf(part, cut), 0.003);
}

}  // namespace
