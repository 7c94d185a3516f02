// Presets on real clips: what is saved keys the same again, keyframes meet their frames, refusals have their sentence.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "parameters/unit_value.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using namespace kalvetra::test;

class PresetCommand : public testing::Test {
 protected:
  // 12 frames of a green screen with a box that wanders and soft noise.
  PresetCommand() {
    need(kFfmpeg + "-f lavfi -i color=0x2da54b:s=160x90:r=10:d=1.2 -f lavfi -i color=0xcd967d:s=40x50:r=10:d=1.2 " +
         "-filter_complex \"overlay=x='20+6*n':y=30,noise=alls=9,boxblur=1\" -c:v ffv1 -pix_fmt yuv444p " +
         "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv " + clip);
  }

  std::string write(const std::string& name, const std::string& settings) const {
    std::ofstream(folder.path(name)) << "{\n\"look\": 1, \"settings\": {\n" << settings << "\n}}\n";
    return folder.path(name);
  }
  static std::string textOf(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
  }
  std::string hashes(const std::string& options) const {
    return need(key(clip + " -f hash " + options + " 2>/dev/null"));
  }
  // The hash of one frame, the first is 0.
  std::string hashOf(int frame, const std::string& options) const {
    std::istringstream lines(hashes(options));
    std::string line;
    for (int i = 0; i <= frame; ++i) std::getline(lines, line);
    return line;
  }

  ScratchFolder folder;
  const std::string clip = folder.path("clip.mkv");
};

TEST_F(PresetCommand, SavedSettingsKeyTheSameAgain) {
  const std::string saved = folder.path("saved.json");
  const std::string options = "--shadow 40 --edge-blur on --blur-radius 3 --skin-hue -12 --deblocking on ";
  const std::string first = hashes(options + "--save-preset " + saved);
  const std::string text = textOf(saved);
  expectHas(text, "\"look\": 1,\n");
  for (const char* line :
       {"\"shadow\": 40,\n", "\"edge-blur\": true,\n", "\"skin-hue\": -12,\n", "\"smooth-bg\": true,\n"})
    expectHas(text, line);
  EXPECT_EQ(std::string::npos, text.find("#000000")) << "the colour that was found is missing";
  EXPECT_EQ(first, hashes("--preset " + saved));
  EXPECT_NE(first, hashes(""));

  // Written back, it is the same file; over itself, too.
  hashes("--preset " + saved + " --save-preset " + folder.path("again.json"));
  EXPECT_EQ(text, textOf(folder.path("again.json")));
  hashes("-y --preset " + saved + " --save-preset " + saved);
  EXPECT_EQ(text, textOf(saved));

  // With keyframes, and where the view alone would need no colour.
  const std::string moving = write("moving.json", "\"view\": [[0, \"source\"]], \"shadow\": [[2, 10], [9, 90]]");
  hashes("--preset " + moving + " --save-preset " + folder.path("m.json"));
  expectHas(textOf(folder.path("m.json")), "\"view\": \"source\",\n");
  expectHas(textOf(folder.path("m.json")), "\"shadow\": [[2, 10], [9, 90]],\n");
  EXPECT_EQ(std::string::npos, textOf(folder.path("m.json")).find("#000000"));
}

TEST_F(PresetCommand, EveryFrameIsKeyedWithTheValuesAtItsNumber) {
  const std::string preset = write("p.json", R"(
    "key-color": [[0, "#2da54b"], [10, "#378d4b"]],
    "smooth-bg": false,
    "screen-gain": [[2, 20], [6, 60]],
    "edge-blur": [[0, false], [7, true]])");
  const struct {
    int frame;
    std::string options;
  } cases[] = {
      {0, "--key-color '#2da54b' --screen-gain 20"},
      {3, "--key-color '#309e4b' --screen-gain 30"},  // 165 - 24 * 3 / 10 = 157.8
      {5, "--key-color '#32994b' --screen-gain 50"},
      {7, "--key-color '#34944b' --screen-gain 60 --edge-blur on"},
      {11, "--key-color '#378d4b' --screen-gain 60 --edge-blur on"},
  };
  for (const auto& c : cases) {
    const std::string expected = hashOf(c.frame, "--smooth-bg off " + c.options);
    EXPECT_EQ(expected, hashOf(c.frame, "--preset " + preset)) << c.frame;
    EXPECT_NE(expected, hashOf(c.frame, "--smooth-bg off --key-color '#2da54b'")) << c.frame;
  }
  EXPECT_EQ(hashes("--threads 1 --preset " + preset), hashes("--threads 7 --preset " + preset));

  // A still counts the frames before its time: 0.75 s is in frame 7, 0.65 s in frame 6.
  const auto still = [&](const std::string& name, const std::string& options) {
    need(kKalvetra + " still " + clip + " " + folder.path(name) + " " + options);
    return textOf(folder.path(name));
  };
  const std::string constant = " --smooth-bg off --screen-gain 60 --key-color ";
  EXPECT_EQ(still("a.png", "--at 0.75 --edge-blur on" + constant + "'#34944b'"),
            still("b.png", "--at 0.75 --preset " + preset));
  EXPECT_EQ(still("c.png", "--at 0.65" + constant + "'#33974b'"), still("d.png", "--at 0.65 --preset " + preset));
}

TEST_F(PresetCommand, SingleOptionsOverrideThePreset) {
  const std::string preset =
      write("p.json", R"("key-color": "#ff0000", "shadow": 30, "screen-gain": [[0, 10], [9, 90]])");
  const std::string color = "--key-color '#2da54b' ", plain = "--plain ";
  EXPECT_EQ(hashes(plain + color + "--shadow 30 --screen-gain 55"),
            hashes("--preset " + preset + " " + color + "--screen-gain 55"));
  EXPECT_EQ(hashes(plain + color + "--shadow 60 --screen-gain 55"),
            hashes("--shadow 60 --screen-gain 55 " + color + "--preset " + preset));
  // auto puts the colour that is found above the preset's.
  EXPECT_EQ(hashes(plain + "--shadow 30 --screen-gain 55"),
            hashes("--key-color auto --screen-gain 55 --preset " + preset));
  EXPECT_NE(hashes(plain + "--shadow 30 --screen-gain 55"), hashes("--screen-gain 55 --preset " + preset));
}

TEST_F(PresetCommand, NotesSayWhichSettingsDoNothing) {
  const auto said = [&](const std::string& options) { return need(key(clip + " -f null " + options)); };
  const std::string on = write("on.json", "\"edge-blur\": [[0, false], [5, true]], \"key-color\": \"#000000\"");
  const std::string off = write("off.json", "\"edge-blur\": false, \"blur-radius\": 9, \"contract-mask\": 4");
  EXPECT_EQ(std::string::npos, said("--blur-radius 4 --preset " + on).find("does nothing"));
  expectHas(said("--preset " + on), "a black key colour keys nothing");
  const std::string idle = said("--blur-radius 4 --preset " + off);
  expectHas(idle, "--blur-radius does nothing without --edge-blur on");
  EXPECT_EQ(std::string::npos, idle.find("--contract-mask")) << "the preset's own values need no note";
  expectHas(idle, "key colour #");
  EXPECT_EQ(std::string::npos, said("--preset " + off + " --key-color '#2da54b'").find("key colour"));
}

TEST_F(PresetCommand, RefusalsHaveOneSentenceAndLeaveNothing) {
  const std::string good = write("good.json", "\"key-color\": \"#2da54b\"");
  const std::string target = folder.path("o.mkv"), line = write("line.json", "\"shadow\": 5,\n\"blur\": 3");
  const std::string noJson = folder.path("no.json");
  std::ofstream(noJson) << "{\n\n  look: 1 }";
  const auto with = [&](const std::string& options) { return clip + " " + target + " " + options; };
  const struct {
    std::string arguments;
    int status;
    std::string sentence;
  } cases[] = {
      {with("--preset " + line), 1, line + ", line 4: \"blur\" is no setting; the nearest is \""},
      {with("--preset " + noJson), 1, noJson + ", line 3: this is no JSON: "},
      {with("--preset " + write("r.json", "\"shadow\": 101")), 1,
       "line 3: \"shadow\" cannot be 101; give a whole number"},
      {with("--preset " + folder.path("none.json")), 1, "none.json: cannot be opened"},
      {with("--preset"), 2, "--preset"},
      {with("--preset " + good + " --shadow 101"), 2, "'101' is not among its values; give 0..100"},
      {with("--preset " + good + " --view plates"), 2, "'plates' is not among its values"},
      {with("--preset " + good + " --save-preset " + line), 1, line + " exists already; give -y"},
      {with("-y --preset " + good + " --save-preset " + clip), 1, "would overwrite the input"},
      {with("--preset " + good + " --save-preset " + target), 1, "named for two outputs"},
      {with("--preset " + good + " --save-preset " + folder.path("p-%d.json")), 1, "preset is one file"},
      {with("--preset " + good + " --save-preset " + folder.path("no/p.json")), 1, "does not exist; create it"},
  };
  const std::vector<std::string> before = folder.names();
  for (const auto& c : cases) {
    const Outcome outcome = run(key(c.arguments));
    EXPECT_EQ(c.status, outcome.status) << c.arguments;
    expectHas(outcome.output, c.sentence);
    EXPECT_EQ(1, std::count(outcome.output.begin(), outcome.output.end(), '\n')) << outcome.output;
    EXPECT_EQ(before, folder.names()) << c.arguments;
  }
  const Outcome full = run("ulimit -f 0; " + key(clip + " -f null --preset " + good + " --save-preset " + target));
  EXPECT_EQ(1, full.status);
  expectHas(full.output, target + ": cannot be written");
  EXPECT_EQ(before, folder.names());
}

TEST(ParamsCommand, PrintsTheTableForPeopleAndPrograms) {
  const std::string text = need(kKalvetra + " params");
  for (const char* part : {"Basic\n  view ", "\nAdvanced: Despill\n", "\nAdvanced\n  screen-gain ", "  -50..50 "})
    expectHas(text, part);
  const auto count = std::count_if(kalvetra::kParameters.begin(), kalvetra::kParameters.end(),
                                   [](const kalvetra::Parameter& p) { return !p.slug.empty(); });
  EXPECT_EQ(count + 7 + 6, std::count(text.begin(), text.end(), '\n'));  // parameters, headings, lines between

  const nlohmann::json table = nlohmann::json::parse(need(kKalvetra + " params --json"));
  EXPECT_EQ(1, table.at("look"));
  const nlohmann::json& rows = table.at("parameters");
  ASSERT_EQ(static_cast<std::size_t>(count), rows.size());
  const auto slider =
      std::find_if(rows.begin(), rows.end(), [](const nlohmann::json& row) { return row.at("slug") == "blur-radius"; });
  EXPECT_EQ((nlohmann::json{{"id", 17},
                            {"slug", "blur-radius"},
                            {"kind", "slider"},
                            {"label", "Mask Blur Radius (pixel)"},
                            {"group", {"Basic", "Edge Blur Group"}},
                            {"range", {1, 100}},
                            {"default", 2},
                            {"depends-on", "edge-blur"},
                            {"help", "Radius of the edge blur in pixels."}}),
            *slider);
  EXPECT_EQ((nlohmann::json{"source", "matte", "result"}), rows[0].at("values"));
  EXPECT_EQ("result", rows[0].at("default"));
  EXPECT_EQ("#000000", rows[1].at("default"));
  EXPECT_EQ(true, rows[3].at("default"));
  EXPECT_TRUE(rows[3].at("depends-on").is_null());

  const Outcome full = run(kKalvetra + " params > /dev/full");
  EXPECT_EQ(1, full.status);
  expectHas(full.output, "the standard output cannot be written to");
  EXPECT_EQ(2, run(kKalvetra + " params --xml").status);
}

}  // namespace
