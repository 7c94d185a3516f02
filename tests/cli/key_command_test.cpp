// Keying real files from end to end.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "engine/render.h"
#include "parameters/parameter_table.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::Image;
using namespace kalvetra::test;

constexpr int kClipFrames = 6;

// Inputs that many tests share, made once.
struct Inputs {
  ScratchFolder folder;
  std::string clip = folder.path("clip.mp4");    // 1280 x 720, H.264 and AAC
  std::string truth = folder.path("truth");      // its true alpha
  std::string small = folder.path("small.mp4");  // 160 x 90, 32 frames with B-frames and sound
  Inputs() {
    need(kKalvetra + " sample " + clip + " --truth " + truth + " --frames " + std::to_string(kClipFrames));
    need(kFfmpeg + "-stream_loop 5 -i " + clip + " -vf scale=160:90 -frames:v 32 -c:v libx264 -g 12 -bf 2 -c:a copy " +
         "-movflags +faststart " + small);
  }
};

const Inputs& inputs() {
  static const Inputs made;
  return made;
}

TEST(KeyCommand, AllFourOutputsFitTogether) {
  const ScratchFolder out;
  constexpr std::size_t kFrames = 3;
  const std::string start = inputs().clip + " --frames " + std::to_string(kFrames) + " ";
  for (const char* name : {"a.mov", "a.mkv", "a.webm", "a-%05d.png"}) need(key(start + out.path(name)));
  need(key(start + out.path("extended.mkv") + " --hidden-colors extend"));  // as the lossy ones are
  const std::string mov = probe("stream", out.path("a.mov"));
  expectHas(mov, "codec_name=prores");
  expectHas(mov, "pix_fmt=yuva444p");
  expectHas(mov, "color_range=tv|color_space=bt709|color_transfer=bt709|color_primaries=bt709");
  expectHas(mov, "codec_name=aac");
  const std::string mkv = probe("stream", out.path("a.mkv"));
  expectHas(mkv, "codec_name=ffv1");
  expectHas(mkv, "pix_fmt=bgra");
  expectHas(mkv, "color_range=pc|color_space=gbr|color_transfer=bt709|color_primaries=bt709");
  expectHas(mkv, "codec_name=aac");
  const std::string webm = probe("stream:stream_tags", out.path("a.webm"));
  expectHas(webm, "codec_name=vp9");
  expectHas(webm, "tag:alpha_mode=1");
  expectHas(webm, "color_range=tv|color_space=bt709|color_transfer=bt709|color_primaries=bt709");
  expectHas(probe("stream", out.path("a-00001.png")), "pix_fmt=rgba");

  const std::vector<Image> exact = readAll(out.path("a.mkv")), png = readAll(out.path("a-%05d.png")),
                           prores = readAll(out.path("a.mov")), vp9 = readAll(out.path("a.webm")),
                           extended = readAll(out.path("extended.mkv"));
  for (const auto* images : {&exact, &png, &prores, &vp9, &extended}) ASSERT_EQ(kFrames, images->size());
  for (std::size_t i = 0; i < kFrames; ++i) {
    EXPECT_EQ(png[i].bytes, exact[i].bytes);
    EXPECT_EQ(0.0, meanDifference(prores[i], exact[i], 0, 4)) << "ProRes alpha";
    EXPECT_LT(meanDifference(prores[i], extended[i], 2, 4), 3.0) << "ProRes green";
    EXPECT_LT(meanDifference(vp9[i], exact[i], 0, 4), 2.0) << "VP9 alpha";
  }
  // The same two files through another reader.
  const auto hashes = [](const std::string& file) {
    return need(kFfmpeg + "-i " + file + " -map 0:v -pix_fmt rgba -f framehash - | grep -v '#' | sed 's/.*,//'");
  };
  EXPECT_EQ(hashes(out.path("a-%05d.png")), hashes(out.path("a.mkv")));
}

TEST(KeyCommand, TheNumberOfThreadsChangesNoByte) {
  const ScratchFolder out;
  for (const char* name : {".mov", ".mkv", ".webm", "-%03d.png"}) {
    const std::string one = out.path("1" + std::string(name)), many = out.path("m" + std::string(name));
    need(key(inputs().small + " " + one + " --threads 1"));
    need(key(inputs().small + " " + many + " --threads 100"));              // more than some encoders take
    const std::vector<Image> first = readAll(one), second = readAll(many);  // alpha included, also that of VP9
    ASSERT_EQ(32u, first.size());
    ASSERT_EQ(32u, second.size());
    for (std::size_t i = 0; i < 32; ++i) ASSERT_EQ(first[i].bytes, second[i].bytes) << name << ", frame " << i;
    EXPECT_EQ(pictureTimes(one), pictureTimes(many));
  }
}

TEST(KeyCommand, GivesWhatTheEngineGives) {
  const ScratchFolder out;
  const std::string picture = out.path("in.png");
  need(kFfmpeg + "-i " + inputs().clip + " -frames:v 1 -pix_fmt rgb24 " + picture);
  need(key(picture + " " + out.path("o.png") +
           " --plain --key-color 45,165,75 --shadow 60 --edge-blur on --blur-radius 3 --skin-hue -20"));
  const Image in = readAll(picture).at(0);
  kalvetra::KeySettings settings = kalvetra::defaultSettings();
  settings.keyColor = {45 / 255.0, 165 / 255.0, 75 / 255.0};
  settings.shadow = 60;
  settings.edgeBlur = 1;
  settings.maskBlurRadius = 3;
  settings.skinHue = -20;
  Image expected(in.width, in.height);
  kalvetra::render(settings, in.frame(), expected.frame());
  EXPECT_EQ(expected.bytes, readAll(out.path("o.png")).at(0).bytes);
}

// The figure to watch: mean absolute error of the alpha over the demonstration clip, in levels of 255.
TEST(KeyCommand, AlphaErrorAgainstTheTruth) {
  const ScratchFolder out;
  need(key(inputs().clip + " " + out.path("a.mkv")));
  const std::vector<Image> keyed = readAll(out.path("a.mkv")), truth = readAll(inputs().truth + "/alpha-%05d.png");
  ASSERT_EQ(keyed.size(), truth.size());
  double sum = 0;
  for (std::size_t i = 0; i < keyed.size(); ++i) {
    Image alpha = keyed[i];
    for (std::size_t p = 0; p < alpha.bytes.size(); p += 4) alpha.bytes[p + 1] = alpha.bytes[p];
    sum += meanDifference(alpha, truth[i], 1, 4);
  }
  const double error = sum / static_cast<double>(keyed.size());
  std::printf("mean absolute alpha error: %.3f levels\n", error);
  EXPECT_LT(error, 1.5);  // 1.15 when this was written
}

TEST(KeyCommand, KeepsTimesShapeAndTimecode) {
  const ScratchFolder out;
  const std::string input = out.path("vfr.mov");
  need(kFfmpeg + "-i " + inputs().small + " -vf \"setsar=4/3,setpts='if(lt(N,10),N,N*2-10)/30/TB'\" -fps_mode vfr " +
       "-timecode 01:02:03:04 -c:a copy " + input);
  for (const char* name : {"o.mov", "o.mkv"}) {
    need(key(input + " " + out.path(name)));
    expectHas(probe("stream", out.path(name)), "sample_aspect_ratio=4:3");
  }
  EXPECT_EQ(pictureTimes(input), pictureTimes(out.path("o.mov")));
  expectHas(pictureTimes(out.path("o.mkv")), "0.000000\n0.033000\n0.067000\n");  // Matroska counts milliseconds
  expectHas(probe("stream_tags", out.path("o.mov")), "timecode=01:02:03:04");
  expectHas(probe("stream_tags", out.path("o.mkv")), "TIMECODE=01:02:03:04");
  expectHas(need(key(input + " " + out.path("o.webm"))), "timecode 01:02:03:04 is left out");
  // The sound is the same, packet for packet.
  const auto sound = [](const std::string& file) {
    return need(kFfmpeg + "-i " + file + " -map 0:a -c copy -f md5 -");
  };
  EXPECT_EQ(sound(input), sound(out.path("o.mov")));
}

TEST(KeyCommand, RotationIsKeptOrApplied) {
  const ScratchFolder out;
  const std::string input = out.path("r.mp4");
  need(kFfmpeg + "-i " + inputs().small + " -c copy -metadata:s:v rotate=90 " + input);
  need(key(input + " " + out.path("o.mov")));
  const std::string rotation = "rotation=90";
  expectHas(probe("stream_side_data=rotation", input), rotation);
  expectHas(probe("stream_side_data=rotation", out.path("o.mov")), rotation);
  need(key(input + " " + out.path("o-%03d.png") + " --view source"));
  need(kFfmpeg + "-i " + input + " -frames:v 1 " + out.path("reference.png"));
  const Image mine = readAll(out.path("o-001.png")).at(0), reference = readAll(out.path("reference.png")).at(0);
  ASSERT_EQ(90, mine.width);
  ASSERT_EQ(160, mine.height);
  EXPECT_LT(meanDifference(mine, reference, 2, 4), 3.0);
}

TEST(KeyCommand, OddSizesAndStrangeFormatsGoThrough) {
  const ScratchFolder out;
  for (const char* format : {"yuv444p", "yuva420p", "gbrp10le", "rgb24", "pal8", "gray", "yuv420p10le"}) {
    const bool palette = std::string(format) == "pal8";
    const std::string input = out.path(std::string(format) + (palette ? ".png" : ".nut"));
    need(kFfmpeg + "-f lavfi -i testsrc=s=33x17:d=0.2:r=10 -pix_fmt " + format +
         (palette ? " -frames:v 1 " : " -c:v ffv1 ") + input);
    for (const char* extension : {".mov", ".mkv", ".webm"}) {
      const std::string output = out.path(std::string(format) + extension);
      const Outcome outcome = run(key("-y --key-color 0,200,60 " + input + " " + output));
      EXPECT_EQ(0, outcome.status) << format << extension << ": " << outcome.output;
      expectHas(probe("stream=width,height", output), "width=33|height=17");
    }
  }
}

TEST(KeyCommand, UntaggedColoursAreGuessedAndReported) {
  const ScratchFolder out;
  // One colour, coded by BT.601, without a tag. 90 lines are taken for BT.601, 720 for BT.709.
  for (const char* size : {"160x90", "1280x720"}) {
    const std::string input = out.path(std::string(size) + ".mkv");
    need(kFfmpeg + "-f lavfi -i color=0x20C040:s=" + size +
         ":d=0.1 -vf format=yuv420p,setparams=colorspace=unknown:range=unknown " + "-c:v ffv1 " + input);
    const bool small = std::string(size) == "160x90";
    const std::string said = need(key("-y --view source " + input + " " + out.path("o-%d.png")));
    expectHas(said, small ? "taken for BT.601 colour, limited range" : "taken for BT.709 colour, limited range");
    const Image image = readAll(out.path("o-1.png")).at(0);
    const int off = std::abs(192 - image.bytes[2]);
    EXPECT_TRUE(small ? off <= 2 : off > 10) << size << ": green is off by " << off;
  }
}

TEST(KeyCommand, TheSourcesAlphaIsRead) {
  const ScratchFolder out;
  // The left half of the picture is transparent, whatever it shows.
  need(kFfmpeg +
       "-f lavfi -i color=0x2060C0:s=64x32:d=0.1 -vf "
       "\"format=rgba,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='if(lt(X,32),0,200)'\" " +
       "-frames:v 1 " + out.path("in.png"));
  need(key("--key-color 40,180,70 " + out.path("in.png") + " " + out.path("o.png")));
  const Image result = readAll(out.path("o.png")).at(0);
  const Image source = readAll(out.path("in.png")).at(0);
  EXPECT_EQ(0, source.bytes[0]);
  EXPECT_EQ(200, source.bytes[source.bytes.size() - 4]);
  EXPECT_EQ(source.bytes, result.bytes);  // blue is foreground, and never more opaque than it was
}

TEST(KeyCommand, TheBackdropIsFoundOrTheClipRefused) {
  const ScratchFolder out;
  expectHas(need(key(inputs().small + " " + out.path("a.mkv"))), "key colour #");
  need(kFfmpeg + "-f lavfi -i color=0x808080:s=64x48:d=0.2 " + out.path("grey.mkv"));
  const Outcome refused = run(key(out.path("grey.mkv") + " " + out.path("b.mkv")));
  EXPECT_EQ(1, refused.status);
  expectHas(refused.output, "no backdrop found");
  expectHas(refused.output, "--key-color");
  EXPECT_FALSE(fs::exists(out.path("b.mkv")));
}

TEST(KeyCommand, BadUseGetsOneSentence) {
  const ScratchFolder out;
  std::ofstream(out.path("text.mp4")) << "no video";
  std::ofstream(out.path("taken.mkv")) << "precious";
  fs::create_directory(out.path("a b"));
  need(kFfmpeg + "-i " + inputs().small + " -vn -c copy " + out.path("sound.m4a"));
  need(kFfmpeg + "-f lavfi -i color=green:s=70000x2 -frames:v 1 " + out.path("wide.png"));
  const std::string small = inputs().small, there = " " + out.path("x.mkv");
  const struct {
    std::string command;
    int status;
    std::string sentence;
  } cases[] = {
      {key(out.path("none.mp4") + there), 1, "there is no such file"},
      {key(out.path("text.mp4") + there), 1, "not a video"},
      {key(out.path("sound.m4a") + there), 1, "has no video"},
      {key(out.path("wide.png") + there), 1, "more than 65535"},
      {key(out.path("") + there), 1, "several clips need {name} in the name of the output"},
      {key(small + " " + out.path("missing/x.mkv")), 1, "does not exist; create it"},
      {key(small + " " + out.path("x.avi")), 1, "'.avi' cannot be written; end the name in one of .mov"},
      {key(small + " " + out.path("x.png")), 1, "more than one picture; name a sequence"},
      {key(small + " " + out.path("x-%d.mov")), 1, "only picture files are numbered"},
      {key(small + " " + out.path("taken.mkv")), 1, "exists already; give -y"},
      {key("-y " + out.path("taken.mkv") + " " + out.path("taken.mkv")), 1, "would overwrite the input"},
      {key(small + there + " --shadow 101"), 2, "--shadow: '101' is not among its values; give 0..100"},
      {key(small + there + " --shadow 5x"), 2, "--shadow"},
      {key(small + there + " --shadow"), 2, "--shadow lacks its value (kalvetra key --help tells more)"},
      {key(small + there + " --shadow 5 --shadow 6"), 2, "--shadow is given more than once; give it once"},
      {key(small + there + " --smooth-bg maybe"), 2, "give on, off"},
      {key(small + there + " --key-color 1,2,256"), 2, "is no colour"},
      {key(small + there + " --threads 0"), 2, "--threads"},
      {key(small), 2, "OUTPUT is required (kalvetra key --help tells more)"},
      {key(small + there + " --keycolor red"), 2, "--keycolor is no option of kalvetra key; did you mean --key-color?"},
      {key(small + there + " --color=red"), 2, "--color is no option of kalvetra key; did you mean --key-color?"},
      {key("--thraeds 3"), 2, "did you mean --threads?"},
      {key(small + there + " --xyzzy"), 2, "--xyzzy is no option of kalvetra key (kalvetra key --help tells more)"},
      {kKalvetra + " still " + small + there + " --also x=y", 2,
       "--also is no option of kalvetra still, but of kalvetra key"},
      {kKalvetra + " --threads 3 key " + small + there, 2, "no option of kalvetra, but of kalvetra key"},
      {kKalvetra + " probe " + small + " 2", 2, "'2' is one argument too many for kalvetra probe"},
      {kKalvetra + " kye " + small + there, 2, "'kye' is no command; did you mean key? (kalvetra --help tells more)"},
      {kKalvetra + " " + small + there, 2, "to key it: kalvetra key " + small},
      {kKalvetra + " '" + out.path("a b") + "'", 2,
       "to key it: kalvetra key '" + out.path("a b") + "' 'keyed/{name}.mov'"},
      {kKalvetra + " still " + small + " " + out.path("s.jpg"), 1, "end its name in .png"},
      {kKalvetra + " still -y " + out.path("wide.png") + " " + out.path("wide.png"), 1, "would overwrite the input"},
      {kKalvetra + " still " + small + " " + out.path("s.png") + " --at 99", 1, "has no picture at"},
      {kKalvetra + " sample " + out.path("s.mov"), 1, "end its name in .mp4"},
  };
  const std::vector<std::string> before = out.names();
  for (const auto& c : cases) {
    const Outcome outcome = run(c.command);
    EXPECT_EQ(c.status, outcome.status) << c.command;
    expectHas(outcome.output, c.sentence);
    EXPECT_EQ(before, out.names()) << c.command;
  }
  std::string kept;
  std::getline(std::ifstream(out.path("taken.mkv")) >> std::ws, kept);
  EXPECT_EQ("precious", kept);
  expectHas(need(key(small + there + " --blur-radius 9")), "--blur-radius does nothing without --edge-blur on");
}

TEST(Command, AloneShowsExamplesAndEveryCommand) {
  EXPECT_EQ("", need(kKalvetra + " 2>/dev/null || true"));  // it is no result
  const Outcome shown = run(kKalvetra);
  EXPECT_EQ(2, shown.status);
  for (const char* example : {"key shot.mp4 keyed.mov", "key shot.mp4 out.mp4 --over beach.jpg", "still shot.mp4"}) {
    expectHas(shown.output, std::string("  kalvetra ") + example);
  }
  for (const char* command : {"key", "still", "probe", "pick", "report", "preset", "sample", "params", "doctor"}) {
    expectHas(shown.output, std::string("\n  ") + command + " ");
  }
  EXPECT_EQ(std::string::npos, shown.output.find("  manual "));
}

TEST(KeyCommand, DamagedClipsAreCountedAndKeptOnlyWhenAsked) {
  const ScratchFolder out;
  need(kFfmpeg + "-i " + inputs().small + " -c copy " + out.path("whole.mkv"));
  need("head -c $(($(stat -c %s " + inputs().small + ") * 2 / 3)) " + inputs().small + " > " + out.path("cut.mp4"));
  need("head -c $(($(stat -c %s " + out.path("whole.mkv") + ") / 2)) " + out.path("whole.mkv") + " > " +
       out.path("cut.mkv"));
  for (const char* name : {"cut.mp4", "cut.mkv"}) {
    const std::string output = out.path("o.mkv");
    const Outcome refused = run(key(out.path(name) + " " + output));
    EXPECT_EQ(1, refused.status) << name;
    expectHas(refused.output, "frames lost");
    EXPECT_FALSE(fs::exists(output));
    const Outcome kept = run(key(out.path(name) + " " + output + " --keep-partial"));
    EXPECT_EQ(1, kept.status);
    expectHas(kept.output, "frames could be keyed and went to");
    const std::size_t frames = readAll(output).size();
    EXPECT_GT(frames, 4u);
    EXPECT_LT(frames, 32u);
    const std::string head = "the file is damaged: ";
    const std::size_t lost = std::stoul(kept.output.substr(kept.output.find(head) + head.size()));
    const double slack = std::string(name) == "cut.mp4" ? 0 : 2;  // Matroska declares its duration only
    EXPECT_NEAR(32, static_cast<double>(frames + lost), slack) << kept.output;
    fs::remove(output);
  }
  // An edit list cuts pictures off on purpose: nothing is lost.
  need(kFfmpeg + "-ss 0.3 -i " + inputs().small + " -c copy " + out.path("edit.mp4"));
  EXPECT_EQ(0, run(key(out.path("edit.mp4") + " " + out.path("o.mkv"))).status);
}

TEST(KeyCommand, AnInterruptLeavesNothing) {
  const ScratchFolder out;
  const std::string input = inputs().folder.path("long.mp4");
  need(kFfmpeg + "-stream_loop 60 -i " + inputs().small + " -c copy " + input);
  for (const char* name : {"o.webm", "o-%05d.png"}) {
    const std::string isMidway = "[ -n \"$(ls -A " + out.path("") + ")\" ] && sleep 0.5";
    const Outcome outcome = signalledOnce(isMidway, key(input + " " + out.path(name)), "INT");
    EXPECT_EQ(130, outcome.status) << outcome.output;
    expectHas(outcome.output, "interrupted");
    EXPECT_TRUE(out.isEmpty());
  }
}

TEST(KeyCommand, AFullDiskIsReportedAndLeavesNothing) {
  const ScratchFolder out;
  for (const char* name : {"o.mov", "o.mkv", "o-%05d.png"}) {
    const Outcome outcome = run("ulimit -f 16; " + key(inputs().clip + " " + out.path(name)));
    EXPECT_EQ(1, outcome.status) << name;
    expectHas(outcome.output, "cannot be written");
    EXPECT_TRUE(out.isEmpty()) << name;
  }
}

// Interlaced and turned by its metadata, so that a still that keyed whole or upright pictures would differ.
TEST(StillCommand, ShowsWhatTheKeyWrites) {
  const ScratchFolder out;
  const std::string clip = out.path("i.mov");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=96x128:r=50:d=0.2 -vf drawbox=y=40:color=0x2da54b:t=fill" +
       ",tinterlace=interleave_top,setfield=tff -pix_fmt yuv420p -c:v libx264 -flags +ildct+ilme " + out.path("u.mov"));
  need(kFfmpeg + "-i " + out.path("u.mov") + " -c copy -metadata:s:v rotate=90 " + clip);
  const std::string color = " --key-color '#2da54b' ";
  need(kKalvetra + " still " + clip + " " + out.path("s.png") + " --at 0.1" + color);
  const Image sheet = readAll(out.path("s.png")).at(0);
  ASSERT_EQ(3 * 128, sheet.width);
  int panel = 0;
  for (const char* view : {"source", "matte"}) {  // both are opaque
    need(key(clip + " " + out.path(std::string(view) + "-%d.png") + color + "--view " + view));
    const Image keyed = readAll(out.path(std::string(view) + "-3.png")).at(0);
    ASSERT_EQ(128, keyed.width);
    for (int y = 0; y < keyed.height; ++y) {
      const unsigned char* shown = sheet.row(y) + std::ptrdiff_t{4} * 128 * panel;
      EXPECT_TRUE(std::equal(keyed.row(y), keyed.row(y) + 4 * 128, shown)) << view << " " << y;
    }
    ++panel;
  }
}

TEST(StillCommand, ShowsThreePanels) {
  const ScratchFolder out;
  need(kKalvetra + " still " + inputs().clip + " " + out.path("s.png") + " --at 0.1");
  const Image sheet = readAll(out.path("s.png")).at(0);
  ASSERT_EQ(3 * 1280, sheet.width);
  const auto pixel = [&](int x, int y) { return sheet.row(y) + std::ptrdiff_t{4} * x; };
  EXPECT_GT(pixel(100, 300)[2], pixel(100, 300)[1] + 40);  // the green source
  EXPECT_LT(pixel(1280 + 100, 300)[1], 30);                // its matte: black on the screen, white on the jacket
  EXPECT_EQ(255, pixel(1280 + 500, 500)[1]);
  EXPECT_NEAR(pixel(2560 + 104, 296)[1], 128, 30);  // a square of the checkerboard
  EXPECT_NEAR(pixel(2560 + 104, 296)[1], pixel(2560 + 104, 296)[2], 12);
}

}  // namespace
