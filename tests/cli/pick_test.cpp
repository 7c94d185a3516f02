// What the command says about a clip's backdrop and settings.
#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using nlohmann::json;
using namespace kalvetra::test;

std::string pick(const std::string& arguments) { return kKalvetra + " pick " + arguments; }

using Color = std::array<int, 3>;

// A screen with a box of one colour at 60..109, 20..89: a dozen frames of 160 x 90, colours exact.
std::string drawClip(const ScratchFolder& folder, const std::string& name, const Color& subject,
                     const Color& screen = {45, 165, 75}) {
  const std::string picture = folder.path("picture.ppm"), path = folder.path(name);
  std::ofstream file(picture, std::ios::binary);
  file << "P6 160 90 255\n";
  for (int i = 0; i < 160 * 90; ++i) {
    const bool inside = i % 160 >= 60 && i % 160 < 110 && i / 160 >= 20;
    for (const int c : inside ? subject : screen) file.put(static_cast<char>(c));
  }
  file.close();
  need(kFfmpeg + "-loop 1 -i " + picture + " -frames:v 12 -c:v ffv1 -pix_fmt gbrp " + path);
  return path;
}

TEST(PickCommand, FindsTheBackdropsColour) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder, "a.mkv", Color{200, 60, 40});
  const std::string said = need(pick(clip));
  expectHas(said, "key-color          #2da54b\n");
  expectHas(said, "confidence         1.00\n");
  expectHas(said, "unevenness         0.00 %");
  expectHas(said, "screen             green\n");
  expectHas(said, "reason ");
  const json found = json::parse(need(pick(clip + " --json --frames 3")));
  EXPECT_EQ("#2da54b", found["keyColor"]);
  EXPECT_EQ((std::vector<int>{45, 165, 75}), found["rgb"].get<std::vector<int>>());
  EXPECT_EQ(3, found["frames"]);
  EXPECT_EQ(0.0, found["lumaSpread"]);
  EXPECT_EQ("green", found["screen"]);
  EXPECT_EQ("blue",
            json::parse(need(pick(drawClip(folder, "b.mkv", {200, 60, 40}, {6, 78, 219}) + " --json")))["screen"]);
  // The same colour as the one that a key finds.
  expectHas(need(key(clip + " -f null")), "key colour #2da54b");
}

TEST(PickCommand, AveragesAnArea) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder, "a.mkv", Color{200, 60, 40});
  expectHas(need(pick(clip + " --at 80,50")), "key-color          #c83c28\n");
  expectHas(need(pick(clip + " --at 159,89")), "#2da54b");
  const json half = json::parse(need(pick(clip + " --at 58,30,4,10 --frames 2 --json")));  // two columns of each
  EXPECT_EQ((std::vector<int>{123, 113, 58}), half["rgb"].get<std::vector<int>>());
  EXPECT_EQ(80, half["pixels"]);
  EXPECT_FALSE(half.contains("confidence"));
}

TEST(PickCommand, CountsInTheUprightPicture) {
  const ScratchFolder folder;
  const std::string turned = folder.path("t.mp4"), shown = folder.path("shown.png");
  need(kFfmpeg + "-i " + drawClip(folder, "a.mkv", {200, 60, 40}) + " -pix_fmt yuv420p " + folder.path("a.mp4"));
  need(kFfmpeg + "-i " + folder.path("a.mp4") + " -c copy -metadata:s:v rotate=90 " + turned);
  need(kFfmpeg + "-i " + turned + " -frames:v 1 " + shown);  // 90 x 160, as another program turns it
  const auto red = [](const std::string& file, const std::string& at) {
    return json::parse(need(pick(file + " --json --at " + at)))["rgb"][0].get<int>();
  };
  for (const char* at : {"5,80", "85,80", "50,5", "50,150"}) EXPECT_NEAR(red(shown, at), red(turned, at), 8) << at;
  EXPECT_GT(std::abs(red(turned, "5,80") - red(turned, "85,80")), 100);
  EXPECT_EQ(1, run(pick(turned + " --at 120,5")).status);
}

TEST(PickCommand, ProposesSettingsWithReasons) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder, "a.mkv", Color{232, 204, 48});
  const std::string said = need(pick(clip + " --settings"));
  expectHas(said, "key-color          #2da54b");
  expectHas(said, "deblocking         off  each pixel has a chroma sample of its own");
  const json proposed = json::parse(need(pick(clip + " --settings --json")));
  EXPECT_EQ(19u, proposed["settings"].size());
  EXPECT_GT(std::stoi(proposed["settings"]["skin-hue"]["value"].get<std::string>()), 0);  // the subject is yellow
  EXPECT_LT(proposed["error"], proposed["errorAtDefaults"]);
  need(kFfmpeg + "-i " + clip + " -c:v libx264 -pix_fmt yuv420p " + folder.path("b.mp4"));
  expectHas(need(pick(folder.path("b.mp4") + " --settings")), "four pixels share one chroma sample");
  EXPECT_EQ(said, need(pick(clip + " --settings --threads 1")));
}

std::string fileOf(const std::string& path) { return need("cat " + path); }

TEST(PickCommand, ANamedColourIsTakenWhateverIsFound) {
  const ScratchFolder folder;
  const std::string lime = drawClip(folder, "a.mkv", {200, 60, 40}, {170, 250, 42}), name = " --key-color '#aafa2a'";
  const json proposed = json::parse(need(pick(lime + " --settings --json" + name)));
  EXPECT_EQ("#aafa2a", proposed["settings"]["key-color"]["value"]);
  EXPECT_LT(proposed["error"], proposed["errorAtDefaults"]);
  const std::string option = folder.path("option.json"), preset = folder.path("preset.json");
  need(key(lime + " -f null --auto --save-preset " + option + name));
  std::ofstream(folder.path("named.json")) << R"({"look": 1, "settings": {"key-color": "#aafa2a"}})";
  need(key(lime + " -f null --auto --save-preset " + preset + " --preset " + folder.path("named.json")));
  EXPECT_EQ(fileOf(option), fileOf(preset));
  const json saved = json::parse(fileOf(option))["settings"];
  EXPECT_EQ("#aafa2a", saved["key-color"]);
  EXPECT_EQ(proposed["settings"]["screen-gain"]["value"], std::to_string(saved["screen-gain"].get<int>()));
  need(kKalvetra + " still " + lime + " " + folder.path("s.png") + " --auto" + name);
  // What is found does not displace what is named.
  const std::string green = drawClip(folder, "g.mkv", {200, 60, 40});
  expectHas(need(pick(green + " --settings --key-color 40,150,70")), "key-color          #289646  it was named");
  expectHas(run(pick(green + " --key-color '#289646'")).output, "--settings");
}

// A batch says in a line what is proposed for a clip; --verbose says all.
TEST(Auto, SaysALineAClipInABatch) {
  const ScratchFolder folder;
  const std::string a = drawClip(folder, "a.mkv", {232, 204, 48}), b = drawClip(folder, "b.mkv", {200, 60, 40});
  const std::string batch = a + " " + b + " -y '" + folder.path("{name}-k.mkv") + "' --auto ";
  const std::string reason = "no other green competes";
  const json proposed = json::parse(need(pick(a + " --settings --json")))["settings"];
  const std::string hue = ", skin-hue " + proposed["skin-hue"]["value"].get<std::string>();
  const std::string said = need(key(batch)),
                    line = said.substr(said.find(a), said.find('\n', said.find(a)) - said.find(a));
  expectHas(line, a + ": key-color #2da54b, ");
  expectHas(line, hue);
  EXPECT_EQ(std::string::npos, line.find("despill-blue")) << "stays as it is";
  EXPECT_EQ(std::string::npos, said.find(reason));
  expectHas(need(key(batch + "--verbose")), reason);
  EXPECT_EQ(std::string::npos, need(key(batch + "--skin-hue 5")).find(hue));
  expectHas(need(key(a + " -f null --auto")), reason);
}

// What would keep the screen's light is left out, and that is said wherever the proposal is.
TEST(Auto, LeavesOutWhatDoesHarm) {
  const ScratchFolder folder;
  const std::string lit = drawClip(folder, "a.mkv", {205, 205, 150}), preset = folder.path("lit.json"),
                    sentence = "skin-hue 50 is left out: it would keep ";
  expectHas(need(pick(lit + " --settings")), "\nleft out             " + sentence);
  const json proposed = json::parse(need(pick(lit + " --settings --json")));
  ASSERT_EQ(1u, proposed["leftOut"].size());
  EXPECT_EQ(0u, proposed["leftOut"][0].get<std::string>().find(sentence));
  expectHas(need(key(lit + " -f null --auto --save-preset " + preset)), sentence);
  EXPECT_EQ(0, json::parse(fileOf(preset))["settings"]["skin-hue"]);
  const std::string plain = drawClip(folder, "b.mkv", {170, 40, 40});
  expectHas(need(key(lit + " " + plain + " -y '" + folder.path("{name}-k.mkv") + "' --auto")),
            "; skin-hue 50 is left out\n");
}

// Levels that the command line crosses by itself are refused before the clip is looked at, here one without a screen;
// a proposed level gives way to a named one.
TEST(Auto, ClipLevelsDoNotCross) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder, "a.mkv", {200, 60, 40}), preset = folder.path("levels.json");
  expectHas(run(key(drawClip(folder, "b.mkv", {200, 60, 40}, {128, 128, 128}) +
                    " -f null --auto --clip-black 50 --clip-white 40"))
                .output,
            "clip-black 50 lies above clip-white 40");
  const std::string saving = " -f null -y --auto --save-preset " + preset;
  expectHas(need(key(clip + saving + " --clip-white 1")), "clip-black 2 is left out: it would cross the clip-white");
  const json saved = json::parse(fileOf(preset))["settings"];
  EXPECT_EQ(0, saved["clip-black"]);
  EXPECT_EQ(1, saved["clip-white"]);
  EXPECT_EQ(std::string::npos, need(key(clip + saving + " --clip-black 75")).find("left out"));
}

TEST(PickCommand, RefusesInOneSentence) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder, "a.mkv", Color{200, 60, 40}), grey = folder.path("grey.png");
  need(kFfmpeg + "-f lavfi -i color=0x808080:s=64x48 -frames:v 1 " + grey);
  std::ofstream(folder.path("text.mp4")) << "no video";
  const struct {
    std::string command;
    int status;
    std::string sentence;
  } cases[] = {
      {pick(grey), 1, "reaches the picture's edges; name its colour with --key-color"},
      {pick(grey + " --settings"), 1, "no backdrop found"},
      {pick(folder.path("none.mp4")), 1, "there is no such file"},
      {pick(folder.path("text.mp4") + " --settings"), 1, "not a video"},
      {pick(clip + " --at 150,80,20,20"), 1,
       "the area of 20 x 20 pixels at 150,80 is not inside the picture of 160 x 90; name one that is"},
      {pick(clip + " --at 160,0"), 1, "is not inside the picture"},
      {pick(clip + " --at 99999,99999,99999,99999"), 1, "is not inside the picture"},
      {pick(clip + " --at 5,5,0,3"), 2, "is empty"},
      {pick(clip + " --at 5,5,3"), 2, "is no area; give x,y or x,y,width,height"},
      {pick(clip + " --at 5,5,3,4x"), 2, "is no area"},
      {pick(clip + " --at 123456,1"), 2, "is no area"},
      {pick(clip + " --at -1,5"), 2, "--at"},
      {pick(clip + " --frames 0"), 2, "--frames"},
      {pick(clip + " --settings --at 1,1"), 2, "excludes"},
      {pick(""), 2, "FILE is required"},
  };
  for (const auto& c : cases) {
    const Outcome outcome = run(c.command);
    EXPECT_EQ(c.status, outcome.status) << c.command << ": " << outcome.output;
    expectHas(outcome.output, c.sentence);
    EXPECT_EQ(1, std::count(outcome.output.begin(), outcome.output.end(), '\n')) << outcome.output;
  }
}

}  // namespace
