// The equivalent command, run by a shell, does what the page does.
#include "preview/export/equivalent_command.h"

#include <fstream>

#include "support/shell_quoted.h"
#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;
namespace fs = std::filesystem;

// The command as a shell finds it, in that folder.
std::string inShell(const std::string& folder, const std::string& command) {
  const std::string directory = fs::path(kKalvetra).parent_path().string();
  return "cd " + shellQuoted(folder) + " && PATH=" + shellQuoted(directory) + ":$PATH && " + command;
}

TEST(EquivalentCommand, SaysOnlyWhatDiffersAndCounts) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("shot.mkv"), "10");
  const RoutedPreview preview(optionsFor(clip));
  const auto command = [&](const Json& request) {
    return preview.post("api/command", request)["command"].get<std::string>();
  };
  const std::string begin = "kalvetra key " + clip + " ", color = "--plain --key-color '#2da54b'";
  const Json plain{{"key-color", kKeyColor}};
  EXPECT_EQ(begin + "shot-keyed.mov " + color, command({{"settings", plain}}));
  EXPECT_EQ(begin + "shot-keyed.mov " + color + " --screen blue --plate fit",
            command({{"settings", {{"key-color", kKeyColor}, {"screen", "blue"}, {"plate", "fit"}}}}));
  const Json many{{"skin-hue", -5},    {"shadow", 100},    {"key-color", kKeyColor}, {"smooth-bg", false},
                  {"edge-blur", true}, {"blur-radius", 9}, {"contract-mask", 5}};  // the last counts for nothing
  EXPECT_EQ(begin + "shot-keyed.mov " + color + " --smooth-bg off --edge-blur on --blur-radius 9 --skin-hue -5",
            command({{"settings", many}}));
  EXPECT_EQ(begin + "a.mov " + color + " --view matte --start 3f --end 7f --codec animation",
            command({{"settings", {{"key-color", kKeyColor}, {"view", "matte"}}},
                     {"start", 3},
                     {"end", 7},
                     {"codec", "animation"},
                     {"output", "a.mov"}}));
  EXPECT_EQ(begin + "shot-keyed.webm " + color, command({{"settings", plain}, {"delivery", "web"}}));
  EXPECT_EQ(begin + "shot-keyed-%05d.exr " + color, command({{"settings", plain}, {"delivery", "compositing"}}));
  EXPECT_EQ(begin + "a.mp4 " + color + " --codec av1",
            command({{"settings", plain}, {"codec", "av1"}, {"output", "a.mp4"}}));
  EXPECT_EQ(begin + "a.mp4 " + color + " --view comp --over '#ffffff'",
            command({{"settings", plain}, {"over", "#ffffff"}, {"output", "a.mp4"}}));
  EXPECT_EQ(begin + "shot-keyed.mov --depth deep " + color, command({{"settings", plain}, {"depth", "deep"}}));
  EXPECT_EQ(begin + "a.mp4 " + color + " --view plate",
            command({{"settings", plain}, {"view", "plate"}, {"over", "#ffffff"}, {"output", "a.mp4"}}));
}

TEST(EquivalentCommand, RefusesWhatNoCommandCanSay) {
  const RoutedPreview preview(optionsFor(someClip()));
  const auto refused = [&](const Json& request, const std::string& part) {
    expectHas(preview.refusal(400, "api/command", request), part);
  };
  refused({{"output", "{name}.mov"}}, "the command would replace {name} in it");
  refused({{"output", "../a.mov"}}, "give a plain file name");
  refused({{"output", "a.mkv"}, {"delivery", "editing"}}, "does not fit the purpose editing");
  refused({{"settings", {{"clip-black", 50}, {"clip-white", 40}}}}, "clip-black 50 lies above clip-white 40");
  refused({{"delivery", "fun"}}, "'fun' is no purpose");
  const ScratchFolder folder;
  const RoutedPreview latin(optionsFor(drawClip(folder.path("caf\xe9.mkv"), "2")));
  expectHas(latin.refusal(400, "api/command", {{"output", "a.mov"}}), "is not UTF-8");
}

TEST(EquivalentCommand, SurvivesAnyNameThatAFileCanHave) {
  const ScratchFolder folder;
  const std::string original = drawClip(folder.path("original.mkv"), "5");
  need(key(original + " " + folder.path("expected.mkv") + " --plain --key-color '#2da54b' --clip-white 80 --start 1f"));
  const std::vector<Image> expected = readAll(folder.path("expected.mkv"));
  const Json request{{"settings", {{"key-color", kKeyColor}, {"clip-white", 80}}}, {"start", 1}};
  bool named = true;
  for (const std::string name :
       {"{name}",  "with space",   "it's",  "\"double\"", "$HOME", "`id`",  "-dash", "--key-color", "100%",  "%s%n",
        "grün 緑", "back&ground;", "star*", "~",          "#hash", "[a,b]", "a=b",   "new\nline",   "!bang", "(x)"}) {
    const std::string place = folder.path("in " + name), output = name == "new\nline" || name == "{name}" ? "o" : name;
    fs::create_directory(place);
    const std::string clip = place + "/" + name + ".mkv";
    fs::copy_file(original, clip);
    // Now in the folder that the page writes to, now in the one in which the shell is.
    PreviewOptions options = optionsFor(clip);
    named = !named;
    if (named) options.folders = {place};
    const RoutedPreview preview(options);
    Json wanted = request;
    wanted["output"] = output + "-out.mkv";
    const std::string command = preview.post("api/command", wanted)["command"];
    const Outcome outcome = run(inShell(place, command));
    ASSERT_EQ(0, outcome.status) << command << "\n" << outcome.output;
    const std::vector<Image> pictures = readAll(place + "/" + output + "-out.mkv");
    ASSERT_EQ(expected.size(), pictures.size()) << command;
    for (std::size_t i = 0; i < pictures.size(); ++i) EXPECT_EQ(expected[i].bytes, pictures[i].bytes) << command;
  }
  PreviewOptions options = optionsFor(original);
  options.folders = {folder.path("in {name}")};
  expectHas(RoutedPreview(options).refusal(400, "api/command", {{"output", "a.mkv"}}), "replace {name} in it");
}

TEST(EquivalentCommand, TakesAnimatedSettingsFromAPreset) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("shot.mkv"), "6");
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  const Json settings{{"key-color", kKeyColor}, {"view", "matte"}, {"screen-gain", {{0, 5}, {5, 80}}}};
  for (const char* view : {"", "result"}) {
    Json request{{"settings", settings}, {"output", "command.mkv"}};
    if (*view != '\0') request["view"] = view;
    const Json answer = preview.post("api/command", request);
    ASSERT_EQ("shot.json", answer["preset"]["name"]);
    const Json save{{"name", answer["preset"]["name"]}, {"settings", settings}, {"replace", true}};
    EXPECT_EQ("shot.json", preview.post("api/preset/save", save)["name"]);
    need(inShell("/", answer["command"].get<std::string>() + " -y"));
    request["name"] = "export.mkv";
    request["replace"] = true;
    preview.post("api/export", request);
    waitFor([&] { return preview.get("api/export"); }, [](const Json& s) { return s["state"] == "done"; });
    const std::vector<Image> command = readAll(folder.path("command.mkv")), page = readAll(folder.path("export.mkv"));
    ASSERT_EQ(6u, command.size());
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(command[i].bytes, page[i].bytes) << view << i;
  }
}

TEST(EquivalentCommand, QuotesForTheShell) {
  EXPECT_EQ("/a/b-c_1.mov", shellQuoted("/a/b-c_1.mov"));
  EXPECT_EQ("''", shellQuoted(""));
  EXPECT_EQ("'it'\\''s'", shellQuoted("it's"));
  EXPECT_EQ("'~'", shellQuoted("~"));
}

}  // namespace
