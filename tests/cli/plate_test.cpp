// What a clip is keyed against: --plate, --screen, --plain, and what the command does by itself.
#include <algorithm>
#include <fstream>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::Image;
using namespace kalvetra::test;

constexpr int kHeight = 180, kFrames = 90;  // of a picture of 320 columns

// A screen six times as bright on the right as on the left, under a lamp that dims by a quarter, or in another `light`,
// with a box before it that moves. `paint` is red, green, blue.
std::string drawClip(const std::string& path, const std::string& paint = "40,190,80",
                     const std::string& light = "(0.16+0.84*pow(X/W,0.7))*(1-0.13*T)") {
  const std::string box = "between(X,100+20*T,150+20*T)*gte(Y,60)";
  const auto channel = [&](const std::string& subject, int field) {
    const std::string value = need("echo " + paint + " | cut -d, -f" + std::to_string(field) + " | tr -d '\\n'");
    return "'if(" + box + "," + subject + "," + value + "*" + light + ")'";
  };
  need(kFfmpeg + "-f lavfi -i \"color=s=320x180:r=24,format=gbrp,geq=r=" + channel("190", 1) +
       ":g=" + channel("140", 2) + ":b=" + channel("120", 3) + ",noise=alls=4:allf=t\" -frames:v " +
       std::to_string(kFrames) + " -pix_fmt yuv420p -c:v libx264 -crf 14 -g 20 " + path);
  return path;
}

class Plate : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    drawClip(clip());
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string clip() { return folder_->path("clip.mkv"); }
  // Of each frame.
  static std::string hashes(const std::string& more) {
    return need(key(clip() + " -f hash --progress none " + more + " 2>/dev/null"));
  }
  // Mean alpha of the dark strip at the picture's left, where there is nothing but the screen.
  static double haze(const Image& image) {
    double sum = 0;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < 60; ++x) sum += image.row(y)[4 * x];
    }
    return sum / (60.0 * kHeight);
  }
  double hazeOf(const std::string& input, const std::string& more) const {
    need(key(input + " " + out_.path("o.mkv") + " -y --no-verify --frames 3 " + more));
    return haze(readAll(out_.path("o.mkv")).at(0));
  }

  static inline std::unique_ptr<ScratchFolder> folder_;
  ScratchFolder out_;
};

TEST_F(Plate, ByItselfTheCommandClearsADarkSideAndSaysSoInOneLine) {
  const std::string said = need(key(clip() + " -f null"));
  expectHas(said, "plate fitted (");
  expectHas(said, " % of the picture is bare screen), clip-black ");
  EXPECT_LT(hazeOf(clip(), ""), 1.0);
  EXPECT_GT(hazeOf(clip(), "--plain"), 20.0);
  EXPECT_GT(hazeOf(clip(), "--plate frame --clip-black 0"), 20.0);  // single options override
  EXPECT_LT(hazeOf(clip(), "--plain --plate fit --clip-black 4"), 1.0);
  EXPECT_EQ(std::string::npos, need(key(clip() + " -f null --plain")).find("plate"));
}

// From one picture that is looked at to the next, the bright side becomes the dark one.
TEST_F(Plate, ALampThatMovesLeavesNoHazeInAnyFrame) {
  const std::string moving = drawClip(out_.path("moving.mkv"), "40,190,80", "(1-0.7*abs(X/W-clip((T-2.6)/1.15,0,1)))");
  need(key(moving + " " + out_.path("o.mkv") + " --no-verify"));
  const std::vector<Image> keyed = readAll(out_.path("o.mkv"));
  ASSERT_EQ(keyed.size(), static_cast<std::size_t>(kFrames));
  for (std::size_t i = 0; i < keyed.size(); ++i) EXPECT_LT(haze(keyed[i]), 2.0) << i;
}

TEST_F(Plate, EveryPartOfTheClipAndAnyNumberOfThreadsGiveTheSameBytes) {
  const std::string whole = hashes("--threads 1");
  EXPECT_EQ(whole, hashes("--threads 4"));
  const auto frames = [&](const std::string& text, const std::string& lines) {
    std::ofstream(out_.path("h")) << text;
    return need("sed -n '" + lines + "p' " + out_.path("h") + " | cut -d' ' -f3");
  };
  const std::string part = frames(whole, "21,28");
  EXPECT_EQ(8, std::count(part.begin(), part.end(), '\n'));
  EXPECT_EQ(part, frames(hashes("--start 20f --frames 8"), "1,8"));
  // A run that is taken up again is keyed against the same plates.
  const std::string command = key(clip() + " " + out_.path("o.mkv") + " --resume --threads 1 --receipt ");
  const std::string journal = out_.path(".o.mkv.unfinished/journal");
  signalledOnce("[ $(cat " + journal + " 2>/dev/null | wc -l) -gt 1 ]", command + out_.path("a.json"), "TERM");
  expectHas(need(command + out_.path("b.json")), " frames of an unfinished run");
  const std::string hash = need("grep -o 'murmur3:[0-9a-f]*' " + out_.path("b.json"));
  need(key(clip() + " " + out_.path("p.mkv") + " --receipt " + out_.path("p.json")));
  EXPECT_EQ(need("grep -o 'murmur3:[0-9a-f]*' " + out_.path("p.json")), hash);
}

TEST_F(Plate, ABlueScreenIsKeyedAsAGreenOneAndPresetsKeepBoth) {
  const std::string blue = drawClip(out_.path("blue.mkv"), "40,80,190"), preset = out_.path("p.json");
  expectHas(need(key(blue + " -f null --save-preset " + preset)), "plate fitted");
  const std::string saved = need("cat " + preset);
  expectHas(saved, "\"screen\": \"blue\"");
  expectHas(saved, "\"plate\": \"fit\"");
  EXPECT_LT(hazeOf(blue, ""), 1.0);
  EXPECT_LT(hazeOf(blue, "--preset " + preset), 1.0);
  // What a preset does not name is as it always was.
  std::ofstream(preset) << R"({"look": 1, "settings": {"key-color": "#28be50"}})";
  EXPECT_EQ(hashes("--plain --key-color 40,190,80"), hashes("--preset " + preset));
}

TEST_F(Plate, ACleanPlateIsJudged) {
  // The first frame without its box; the same in other sizes and scenes.
  const std::string bare = out_.path("bare.png"), small = out_.path("small.png"), other = out_.path("other.png");
  const std::string empty =
      "-f lavfi -i \"color=s=320x180,format=gbrp,geq=r='40*(0.16+0.84*pow(X/W,0.7))'"
      ":g='190*(0.16+0.84*pow(X/W,0.7))':b='80*(0.16+0.84*pow(X/W,0.7))'\" -frames:v 1 ";
  need(kFfmpeg + empty + bare);
  need(kFfmpeg + empty + "-vf scale=200:180 " + small);
  need(kFfmpeg + "-f lavfi -i color=c=0x905030:s=320x180 -frames:v 1 " + other);
  EXPECT_LT(hazeOf(clip(), "--plate " + bare), 1.0);
  for (const std::string& bad : {small, other}) {
    const Outcome refused = run(key(clip() + " " + out_.path("never.mkv") + " --plate " + bad));
    EXPECT_EQ(1, refused.status) << refused.output;
    expectHas(refused.output, bad + ": ");
  }
  // A preset says that it needs one, but not which.
  const std::string preset = out_.path("p.json");
  need(key(clip() + " -f null --plate " + bare + " --save-preset " + preset));
  const Outcome lacking = run(key(clip() + " -f null --preset " + preset));
  EXPECT_EQ(1, lacking.status);
  expectHas(lacking.output, "name its file with --plate FILE");
  need(key(clip() + " -f null --preset " + preset + " --plate " + bare));
  const Outcome misspelt = run(key(clip() + " -f null --plate fitt"));
  EXPECT_EQ(2, misspelt.status);
  expectHas(misspelt.output, "give frame, fit, shot, FILE");
}

// A close-up whose screen is noisy: too small to fit a plate, but its noise is cleared by a measured, low clip-black.
TEST_F(Plate, ASmallScreenHasNoPlateButIsClearedOfItsNoise) {
  const std::string close = out_.path("close.png");
  const auto channel = [](int screen, int skin) {
    return "'if(lt(X,10)," + std::to_string(screen) + "," + std::to_string(skin) + ")'";
  };
  need(kFfmpeg + "-f lavfi -i \"color=s=320x180,format=gbrp,geq=r=" + channel(40, 190) + ":g=" + channel(190, 140) +
       ":b=" + channel(80, 120) + ",noise=alls=32:all_seed=3\" -frames:v 1 " + close);
  const std::string named = close + " " + out_.path("k.png") + " -y --key-color 40,190,80";
  const auto left = [this] {
    const Image keyed = readAll(out_.path("k.png")).at(0);
    int seen = 0;
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < 8; ++x) seen += keyed.row(y)[4 * x] != 0 ? 1 : 0;
    }
    return seen;
  };
  const std::string said = need(key(named));
  expectHas(said, "no plate fitted: ");
  expectHas(said, ", clip-black ");
  const int cleared = left();
  need(key(named + " --plain"));
  EXPECT_LT(cleared, left() * 3 / 4);
}

// Neither the shot's plate nor fitted ones: nothing is said to be taken instead.
TEST_F(Plate, OfAClipWithoutAScreenIsTheEnginesOwn) {
  const std::string bars = out_.path("bars.mp4");
  need(kFfmpeg + "-f lavfi -i testsrc=s=320x180 -frames:v 3 " + bars);
  const std::string said = need(key(bars + " -f null --plate shot --key-color 40,190,80"));
  expectHas(said, "no plate fitted: ");
  EXPECT_EQ(said.find("instead of the shot's"), std::string::npos) << said;
}

TEST_F(Plate, TheStandardInputIsKeyedAgainstEachFramesOwnPlate) {
  const std::string said = need("cat " + clip() + " | " + key("- -f null --key-color 40,190,80"));
  expectHas(said, "the input can be read only once");
  EXPECT_EQ(hashes("--plain --key-color 40,190,80"),
            need("cat " + clip() + " | " + key("- -f hash --key-color 40,190,80 --progress none 2>/dev/null")));
}

TEST_F(Plate, ANamedPipeIsReadOnce) {
  const std::string pipe = out_.path("pipe");
  need("mkfifo " + pipe);
  const Outcome keyed = run("(timeout 60 cat " + clip() + " > " + pipe + " &) ; timeout 60 " +
                            key(pipe + " -f null --key-color 40,190,80"));
  EXPECT_EQ(0, keyed.status);
  expectHas(keyed.output, "the input can be read only once");
}

TEST_F(Plate, ACleanPlateIsNotOverwrittenByTheStill) {
  const std::string bare = out_.path("bare.png");
  need(kFfmpeg + "-f lavfi -i color=c=0x28be50:s=320x180 -frames:v 1 " + bare);
  const std::string before = need("md5sum " + bare);
  EXPECT_EQ(1, run(kKalvetra + " still " + clip() + " " + bare + " -y --plate " + bare).status);
  EXPECT_EQ(before, need("md5sum " + bare));
}

TEST_F(Plate, AFolderMayBeCalledShot) {
  need("mkdir " + out_.path("shot"));
  expectHas(need("cd " + out_.path("") + " && " + key(clip() + " -f null --plate shot")),
            "seen as bare screen over the shot");
}

// Where four pictures of five show no screen, the plate of the fifth is nobody's.
TEST_F(Plate, OneSurePictureOfFiveIsTooFew) {
  const std::string mostly = out_.path("mostly.mkv");
  const auto channel = [](const char* screen) { return "'if(eq(N,2)," + std::string(screen) + ",128+60*sin(X*Y))'"; };
  need(kFfmpeg + "-f lavfi -i \"color=s=320x180,format=gbrp,geq=r=" + channel("40") + ":g=" + channel("190") +
       ":b=" + channel("80") + "\" -frames:v 5 -c:v ffv1 " + mostly);
  expectHas(need(key(mostly + " -f null --key-color 40,190,80")), "no plate fitted: ");
}

TEST_F(Plate, APickedPresetKeysAsAutoDoes) {
  const std::string preset = out_.path("p.json");
  need(kKalvetra + " pick " + clip() + " --settings --save-preset " + preset);
  EXPECT_EQ(hashes("--auto"), hashes("--preset " + preset));
}

}  // namespace
