// Presets and backgrounds by plain names, and nothing else.
#include "preview/export/folders.h"

#include <sys/stat.h>

#include <fstream>

#include "support/user_error.h"
#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;
namespace fs = std::filesystem;

void write(const std::string& path, const std::string& text) { std::ofstream(path, std::ios::binary) << text; }

const std::string kPreset = R"({"look": 1, "settings": {"shadow": 80, "screen-gain": [[0, 5], [9, 50]]}})";

TEST(PreviewFolders, ListOnlyPlainRegularFiles) {
  const ScratchFolder a, b, outside;
  write(outside.path("secret.json"), kPreset);
  for (const char* name : {"one.json", "TWO.JSON", "sky.jpg", "loop.MP4", ".hidden.json", "notes.txt", "two"}) {
    write(a.path(name), kPreset);
  }
  write(b.path("one.json"), "{");
  write(b.path("three.json"), kPreset);
  write(b.path("caf\xe9.json"), kPreset);
  fs::create_symlink(outside.path("secret.json"), a.path("link.json"));
  fs::create_directory(a.path("folder.json"));
  ASSERT_EQ(0, mkfifo(a.path("pipe.json").c_str(), 0600));
  const RoutedPreview preview(optionsFor(someClip(), {a.path(""), b.path("")}));
  const Json files = preview.get("api/files");
  EXPECT_EQ((Json{"TWO.JSON", "one.json", "three.json"}), files["presets"]);
  EXPECT_EQ((Json{"loop.MP4", "sky.jpg"}), files["pictures"]);
  EXPECT_EQ(2u, files["folders"].size());
  // The first folder's counts.
  EXPECT_EQ((Json{{"shadow", 80}, {"screen-gain", {{0, 5}, {9, 50}}}}),
            preview.post("api/preset/load", {{"name", "one.json"}})["settings"]);
  for (const char* name : {"link.json", "folder.json", "pipe.json", "none.json"}) {
    expectHas(preview.refusal(400, "api/preset/load", {{"name", name}}), "is no file in the preview's folders");
  }
  const std::string escape = "../" + fs::path(outside.path("")).parent_path().filename().string() + "/secret.json";
  for (const std::string& name :
       {escape, outside.path("secret.json"), std::string(".hidden.json"), std::string("..")}) {
    expectHas(preview.refusal(400, "api/preset/load", {{"name", name}}), "give a plain file name");
  }
  expectHas(preview.refusal(400, "api/preset/load", {{"name", "notes.txt"}}), "is no preset by its name");
  expectHas(preview.refusal(400, "api/command", {{"over", {{"file", "notes.txt"}}}}), "is no picture");
}

TEST(PreviewFolders, SavePresetsThatTheCommandReads) {
  const ScratchFolder folder, outside;
  const RoutedPreview preview(optionsFor(someClip(), {folder.path("")}));
  const Json settings{{"key-color", kKeyColor}, {"shadow", 80}, {"screen-gain", {{0, 5}, {9, 50}}}};
  EXPECT_EQ("look.json", preview.post("api/preset/save", {{"name", "look"}, {"settings", settings}})["name"]);
  expectHas(preview.refusal(409, "api/preset/save", {{"name", "look.json"}, {"settings", settings}}), "exists already");
  preview.post("api/preset/save", {{"name", "look.json"}, {"settings", settings}, {"replace", true}});
  EXPECT_EQ(std::vector<std::string>{"look.json"}, folder.names());
  const Json loaded = preview.post("api/preset/load", {{"name", "look.json"}})["settings"];
  EXPECT_EQ(80, loaded["shadow"]);
  EXPECT_EQ(settings["screen-gain"], loaded["screen-gain"]);
  // What the page offers as a download is the same, and what --save-preset writes.
  const std::string text = preview.ask("POST", "api/preset/text", {{"settings", settings}}).body;
  std::ifstream in(folder.path("look.json"));
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(in), {}));
  const std::string clip = drawClip(folder.path("clip.mkv"), "2");
  need(key(clip + " " + folder.path("o.mkv") + " --preset " + folder.path("look.json") + " --save-preset " +
           folder.path("again.json")));
  std::ifstream again(folder.path("again.json"));
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(again), {}));
  for (const char* name : {"", "../x", ".x", "a/b"}) {
    expectHas(preview.refusal(400, "api/preset/save", {{"name", name}, {"settings", settings}}), "a plain file name");
  }
  expectHas(preview.refusal(400, "api/preset/save", {{"name", "a%03d"}, {"settings", settings}}), "without a %");
  {
    const FullDisk full(100);
    expectHas(preview.refusal(400, "api/preset/save", {{"name", "new"}, {"settings", settings}}), "cannot be written");
    preview.refusal(400, "api/preset/save", {{"name", "look"}, {"settings", settings}, {"replace", true}});
  }
  EXPECT_EQ(80, preview.post("api/preset/load", {{"name", "look.json"}})["settings"]["shadow"]);
  EXPECT_EQ((std::vector<std::string>{"again.json", "clip.mkv", "look.json", "o.mkv"}), folder.names());
  // A link there is not written through.
  write(outside.path("target.json"), "mine");
  fs::create_symlink(outside.path("target.json"), folder.path("link.json"));
  preview.refusal(409, "api/preset/save", {{"name", "link"}, {"settings", settings}});
  expectHas(preview.refusal(400, "api/preset/save", {{"name", "link"}, {"settings", settings}, {"replace", true}}),
            "is a link there");
  EXPECT_EQ(4u, fs::file_size(outside.path("target.json")));
}

TEST(PreviewFolders, SaveNoPresetOverTheClipOrTheBackground) {
  const ScratchFolder folder;
  fs::copy_file(someClip(), folder.path("base.json"));
  need(kFfmpeg + "-f lavfi -i testsrc2=s=80x45 -frames:v 1 " + folder.path("sky.png"));
  fs::create_hard_link(folder.path("sky.png"), folder.path("sky.json"));
  PreviewOptions options = optionsFor(folder.path("base.json"), {folder.path("")});
  options.background = folder.path("sky.png");
  const RoutedPreview preview(options);
  const auto refused = [&](const char* name, const char* part) {
    const auto before = fs::file_size(folder.path(name));
    const Json request{{"name", name}, {"settings", {{"shadow", 80}}}, {"replace", true}};
    expectHas(preview.refusal(400, "api/preset/save", request), part);
    EXPECT_EQ(before, fs::file_size(folder.path(name)));
  };
  refused("base.json", "base.json: would overwrite the clip");
  refused("sky.json", "sky.json: would overwrite the background");
}

TEST(PreviewFolders, SayWhatIsWrongWithAPreset) {
  const ScratchFolder folder;
  write(folder.path("bad.json"), "{\n\"look\": 1,\n\"settings\": {\"shadow\": 101}}");
  write(folder.path("huge.json"), std::string((1 << 20) + 1, ' '));
  const RoutedPreview preview(optionsFor(someClip(), {folder.path("")}));
  expectHas(preview.refusal(400, "api/preset/load", {{"name", "bad.json"}}), "bad.json, line 3: \"shadow\" cannot be");
  expectHas(preview.refusal(400, "api/preset/load", {{"name", "huge.json"}}), "is larger than 1 MiB");
  const RoutedPreview bare(optionsFor(someClip()));
  expectHas(bare.refusal(400, "api/preset/load", {{"name", "a.json"}}), "--folder DIR");
  expectHas(bare.refusal(400, "api/preset/save", {{"name", "a.json"}}), "--folder DIR");
  EXPECT_THROW(RoutedPreview(optionsFor(someClip(), {folder.path("none")})), UserError);
  EXPECT_THROW(RoutedPreview(optionsFor(someClip(), {folder.path("bad.json")})), UserError);
}

TEST(PreviewFolders, ReadAPresetThatThePageHolds) {
  std::atomic<bool> stop{false};
  PreviewContext context(optionsFor(someClip()), stop);
  const Routes routes = makeRoutes(context);
  const Json read = Json::parse(routes.answer("POST", "api/preset/read", {kPreset, {}}).body);
  EXPECT_EQ((Json{{"shadow", 80}, {"screen-gain", {{0, 5}, {9, 50}}}}), read["settings"]);
  const Answer bad = routes.answer("POST", "api/preset/read", {"{\n\"look\": 1,\n\"settings\": {\"shadw\": 1}}", {}});
  EXPECT_EQ(400, bad.status);
  expectHas(bad.body, "the preset, line 3: \\\"shadw\\\" is no setting; the nearest is \\\"shadow\\\"");
}

// Where it matters, as for the command.
TEST(PreviewFolders, PresetsOfANewerDeepLookAreForEightBits) {
  const ScratchFolder folder;
  const std::string newer = R"({"look": 1, "deep-look": 7, "settings": {"shadow": 80}})";
  write(folder.path("new.json"), newer);
  std::atomic<bool> stop{false};
  PreviewOptions options = optionsFor(someClip(), {folder.path("")});
  PreviewContext context(options, stop);
  const Routes routes = makeRoutes(context);
  const auto status = [&](const char* depth) {
    return std::pair(
        routes.answer("POST", "api/preset/read", {newer, {{"depth", depth}}}).status,
        routes.answer("POST", "api/preset/load", {Json{{"name", "new.json"}, {"depth", depth}}.dump(), {}}).status);
  };
  EXPECT_EQ(std::pair(200, 200), status("auto"));
  EXPECT_EQ(std::pair(400, 400), status("deep"));
  options.preset = folder.path("new.json");
  EXPECT_NO_THROW(PreviewContext(options, stop));
  options.depth = DepthChoice::Deep;
  EXPECT_THROW(PreviewContext(options, stop), UserError);
}

TEST(PreviewFolders, TheClipsOwnBackgroundMayBeAnywhere) {
  const ScratchFolder folder;
  need(kFfmpeg + "-f lavfi -i testsrc2=s=80x45 -frames:v 1 " + folder.path("sky.png"));
  PreviewOptions options = optionsFor(someClip());
  options.background = folder.path("sky.png");
  const RoutedPreview preview(options);
  EXPECT_EQ(Json{"sky.png"}, preview.get("api/files")["pictures"]);
  const Json answer = preview.post("api/command", {{"over", {{"file", "sky.png"}}}, {"output", "a.mp4"}});
  expectHas(answer["command"], "--over " + folder.path("sky.png"));
}

}  // namespace
