// Exports are what `kalvetra key` writes, and whatever happens to them nothing half-written stands under a final name.
#include "preview/export/export_job.h"

#include <sys/stat.h>

#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <random>
#include <thread>

#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;
namespace fs = std::filesystem;

KeyJob jobOf(const std::string& clip) {
  KeyJob job;
  job.input = clip;
  job.threads = 2;
  return job;
}

KeyRequest greenKey() { return {settingsIn(Json{{"settings", {{"key-color", kKeyColor}}}}), {}}; }

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in) << path;
  return {std::istreambuf_iterator<char>(in), {}};
}

// Matroska files have a random number in them, and the H.264 encoder's threads decide a few bits by who comes first;
// all others are the same to the byte.
void expectSameFile(const std::string& expected, const std::string& actual) {
  const bool isLossy = expected.ends_with(".mp4");
  if (!isLossy && !expected.ends_with(".mkv")) {
    EXPECT_TRUE(bytesOf(expected) == bytesOf(actual)) << actual;
  }
  EXPECT_EQ(pictureTimes(expected), pictureTimes(actual)) << actual;
  const std::vector<Image> a = readAll(expected), b = readAll(actual);
  ASSERT_EQ(a.size(), b.size()) << actual;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (isLossy) {
      EXPECT_LT(meanDifference(a[i], b[i], 0, 1), 2.0) << actual << i;
    } else {
      EXPECT_TRUE(a[i].bytes == b[i].bytes) << actual << i;
    }
  }
}

bool isOver(const ExportState& state) { return state.status != ExportStatus::Running; }
ExportState ended(const ExportJob& job) {
  return waitFor([&] { return job.state(); }, isOver);
}

Json ended(const RoutedPreview& preview) {
  return waitFor([&] { return preview.get("api/export"); }, [](const Json& s) { return s["state"] != "running"; });
}

TEST(Export, WritesTheBytesThatTheCommandWrites) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "14");
  need(kFfmpeg + "-f lavfi -i testsrc2=s=80x45 -frames:v 1 " + folder.path("sky.png"));
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  const Json settings{{"key-color", kKeyColor}, {"plate", "fit"}, {"clip-black", 7}, {"edge-blur", true}};
  const std::string options = " --plate fit --key-color '#2da54b' --clip-black 7 --edge-blur on ";
  struct Case {
    Json request;
    std::string arguments;  // behind the settings
  };
  const std::vector<Case> cases{
      {{{"name", "a.mkv"}}, ""},
      {{{"name", "b.mov"}, {"delivery", "editing"}, {"start", 2}, {"end", 9}}, "--start 2f --end 9f"},
      {{{"name", "c.mp4"}, {"view", "status"}}, "--view status"},
      {{{"name", "d.mov"}, {"codec", "animation"}, {"view", "matte"}}, "--codec animation --view matte"},
      {{{"name", "e.mp4"}, {"view", "comp"}, {"over", {{"file", "sky.png"}}}}, "--over " + folder.path("sky.png")},
      {{{"name", "g.mkv"}, {"view", "comp"}, {"over", {{"file", "sky.png"}}}},
       "-f null --over " + folder.path("sky.png") + " --also comp="},
      {{{"name", "f.mkv"}, {"over", "#102030"}}, "--view comp --over '#102030'"},
  };
  for (const Case& c : cases) {
    Json request = c.request;
    request["settings"] = settings;
    const std::string name = request["name"];
    preview.post("api/export", request);
    const Json state = ended(preview);
    ASSERT_EQ("done", state["state"]) << state;
    EXPECT_EQ(name, state["file"].get<std::string>());
    EXPECT_EQ(state["of"], state["frames"]);
    EXPECT_GT(state["fps"], 0.0);
    EXPECT_EQ(state["size"], fs::file_size(folder.path(name)));
    const bool also = c.arguments.ends_with('=');
    need(key("'" + clip + "'" + options + c.arguments + (also ? "" : " ") + other.path(name)));
    expectSameFile(other.path(name), folder.path(name));
  }
  EXPECT_EQ((std::vector<std::string>{"a.mkv", "b.mov", "c.mp4", "d.mov", "e.mp4", "f.mkv", "g.mkv", "sky.png"}),
            folder.names());
}

TEST(Export, IsOfTheChosenDepth) {
  const ScratchFolder folder, other;
  const std::string clip = other.path("clip.mkv");
  need(kFfmpeg + "-i " + drawClip(other.path("eight.mkv"), "3") + " -c:v ffv1 -pix_fmt gbrp10le " + clip);
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  for (const std::string depth : {"auto", "8"}) {
    const std::string name = depth + ".mkv", file = other.path(name);
    preview.post("api/export", {{"name", name}, {"settings", {{"key-color", kKeyColor}}}, {"depth", depth}});
    ASSERT_EQ("done", ended(preview)["state"]);
    need(key(clip + " --plain --key-color '#2da54b' --depth " + depth + " " + file));
    expectSameFile(file, folder.path(name));
    EXPECT_EQ(probe("stream=pix_fmt", file), probe("stream=pix_fmt", folder.path(name)));
    EXPECT_EQ(depth == "auto", probe("stream=pix_fmt", file).find("le") != std::string::npos);
  }
}

TEST(Export, TakesTheMattesAsItsCommandDoes) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "6");
  PreviewOptions options = optionsFor(clip, {folder.path("")});
  options.mattes = {drawMatte(other.path("g.mkv"), 6), drawMatte(other.path("h.png"), 1), {}};
  const RoutedPreview preview(options);
  const std::string arguments = "--garbage " + options.mattes.garbage + " --holdout " + options.mattes.holdout +
                                " --plain --key-color '#2da54b' --start 2f";
  const Json request{{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}, {"start", 2}};
  expectHas(preview.post("api/command", request)["command"], arguments);
  expectHas(preview.get("api/clip")["notes"].back(), "In use: the garbage matte g.mkv, the holdout matte h.png.");
  const std::pair<int, const char*> treatments[] = {
      {5, "holdout"}, {30, "garbage"}, {50, "garbage"}, {90, "skin side"}};
  for (const auto& [x, treatment] : treatments) {  // the garbage matte's box has moved
    const Json pixel{{"frame", 5}, {"x", x}, {"y", 45}, {"settings", {{"key-color", kKeyColor}}}};
    EXPECT_EQ(treatment, preview.post("api/pixel", pixel)["treatment"]) << x;
  }
  preview.post("api/export", request);
  EXPECT_EQ("done", ended(preview)["state"]);
  need(key("'" + clip + "' " + other.path("a.mov") + " " + arguments));
  expectSameFile(other.path("a.mov"), folder.path("a.mov"));
}

double freeBytes(const ScratchFolder& folder) { return static_cast<double>(fs::space(folder.path("")).available); }

// Bytes of an export of a range, all frames of which are looked at, and of one from which only some are.
TEST(Export, ItsSizeIsEstimated) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "80"), loud = folder.path("loud.mkv");
  need(kFfmpeg + "-i " + clip + " -f lavfi -i sine=r=48000 -map 0 -map 1 -c:v copy -c:a pcm_s16le -t 3.2 " + loud);
  const RoutedPreview preview(optionsFor(clip, {folder.path("")})), noisy(optionsFor(loud, {folder.path("")}));
  for (const int end : {20, 80}) {
    for (const std::string codec : {"prores4444", "ffv1", "png", "vp9"}) {
      const bool pictures = codec == "png", isSmall = codec == "vp9";  // so that its container counts, too
      if (isSmall && end > 20) continue;
      Json request{{"settings", {{"key-color", kKeyColor}}}, {"codec", codec}, {"end", end}};
      const double before = freeBytes(folder);
      const Json estimate = preview.post("api/export/size", request);
      EXPECT_NEAR(before, estimate["free"].get<double>(), std::abs(before - freeBytes(folder)) + 2e7);
      request["name"] = codec + std::to_string(end) + (pictures ? "-%03d.png" : "");
      preview.post("api/export", request);
      const double size = ended(preview)["size"];
      EXPECT_NEAR(size, estimate["bytes"].get<double>(), (isSmall ? 0.15 : 0.05) * size) << codec << end;
      if (pictures || isSmall) continue;
      const double loudness = noisy.post("api/export/size", request)["bytes"];
      EXPECT_NEAR(48000.0 * 2 * end / 25, loudness - estimate["bytes"].get<double>(), 2.0);
    }
  }
}

TEST(Export, AnEstimateIsGivenUpForANewerOneAndOnDemand) {
  const RoutedPreview preview(optionsFor(someClip()));
  auto urgent = std::make_unique<Precedence::Urgent>(preview.context().precedence);  // it waits meanwhile
  const auto ask = [&] {
    return preview.ask("POST", "api/export/size", {{"settings", {{"key-color", kKeyColor}}}}).status;
  };
  auto older = std::async(std::launch::async, ask), newer = std::async(std::launch::async, ask);
  const auto isOver = [](std::future<int>& one) {
    return one.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  waitFor([&] { return isOver(older) || isOver(newer); }, [](bool over) { return over; });
  waitFor(
      [&] {
        preview.ask("DELETE", "api/export/size");
        return isOver(older) && isOver(newer);
      },
      [](bool over) { return over; });
  EXPECT_EQ(409, older.get());
  EXPECT_EQ(409, newer.get());
  urgent.reset();
  EXPECT_EQ(200, ask());
}

TEST(Export, PairsAndSequencesAreReportedAsWhatTheyAre) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "3");
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "p-%03d.png"}});
  const Json sequence = ended(preview);
  EXPECT_EQ("done", sequence["state"]) << sequence;
  EXPECT_EQ(true, sequence["sequence"]);
  EXPECT_GT(sequence["size"], 1000);
  EXPECT_EQ(404, preview.ask("GET", "api/export/file").status);
  EXPECT_EQ((std::vector<std::string>{"p-001.png", "p-002.png", "p-003.png"}), folder.names());
  // Numbered as the command does it; other pictures of that name are no business of this export.
  fs::rename(folder.path("p-002.png"), folder.path("p-004.png"));
  const Json second{{"settings", {{"key-color", kKeyColor}}}, {"name", "p-%03d.png"}, {"start", 1}, {"end", 2}};
  preview.post("api/export", second);
  const Json numbered = ended(preview);
  EXPECT_EQ(fs::file_size(folder.path("p-002.png")), numbered["size"]);
  EXPECT_EQ(409, preview.ask("POST", "api/export", second).status);
  for (const char* name : {"p-001.png", "p-003.png", "p-004.png"}) EXPECT_TRUE(fs::exists(folder.path(name)));
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "p.webm"}, {"codec", "av1"}});
  const Json pair = ended(preview);
  EXPECT_EQ((Json{"p.webm", "p-matte.webm"}), pair["files"]) << pair;
  EXPECT_EQ(fs::file_size(folder.path("p.webm")) + fs::file_size(folder.path("p-matte.webm")), pair["size"]);
  EXPECT_EQ(folder.path("p-matte.webm"), preview.ask("GET", "api/export/file", {}, {{"index", "1"}}).file);
}

TEST(Export, WithoutAFolderItGoesIntoAPrivateOneThatGoesWithTheServer) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "3");
  fs::path first, second;
  {
    const RoutedPreview preview(optionsFor(clip));
    EXPECT_EQ(404, preview.ask("GET", "api/export/file").status);
    preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "caf\u00e9 \"1\".mkv"}});
    const Json state = ended(preview);
    EXPECT_EQ("done", state["state"]) << state;
    EXPECT_TRUE(state["folder"].is_null());
    const Answer file = preview.ask("GET", "api/export/file");
    ASSERT_TRUE(file.file);
    first = *file.file;
    EXPECT_TRUE(fs::is_regular_file(first));
    struct stat status {};
    ASSERT_EQ(0, stat(first.parent_path().c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 0777u);
    ASSERT_EQ(1u, file.headers.size());
    EXPECT_EQ("Content-Disposition", file.headers[0].first);
    EXPECT_EQ("attachment; filename=\"caf__ _1_.mkv\"; filename*=UTF-8''caf%C3%A9%20%221%22.mkv",
              file.headers[0].second);
    // The same name again is no harm there, and only the newest export takes room.
    preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "b.mkv"}});
    EXPECT_EQ("done", ended(preview)["state"]);
    second = *preview.ask("GET", "api/export/file").file;
    EXPECT_FALSE(fs::exists(first));
    expectHas(preview.refusal(400, "api/export", {{"name", "p-%03d.png"}}), "needs a folder to go to");
  }
  EXPECT_FALSE(fs::exists(second.parent_path()));
}

TEST(Export, RefusesNamesAndRequestsThatDoNotFit) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(folder.path("clip.mkv"), "3");
  std::ofstream(folder.path("taken.mkv")) << "x";
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  const auto refused = [&](int status, Json request, const std::string& part) {
    request["settings"] = {{"key-color", kKeyColor}};
    expectHas(preview.refusal(status, "api/export", request), part);
  };
  refused(400, {}, "\"name\"");
  for (const char* name : {"", ".", "..", ".hidden.mov", "a/b.mov", "../b.mov", "/tmp/b.mov", "a\\b.mov", "a\nb.mov"}) {
    refused(400, {{"name", name}}, "give a plain file name");
  }
  refused(400, {{"name", std::string(300, 'a') + ".mov"}}, "give a plain file name");
  refused(400, {{"name", "a.txt"}}, "'.txt' cannot be written");
  refused(400, {{"name", "a.mkv"}, {"delivery", "editing"}}, "does not fit the purpose editing");
  refused(400, {{"name", "a.mov"}, {"delivery", "fun"}}, "is no purpose");
  refused(400, {{"name", "a.mp4"}}, "holds no alpha");
  refused(400, {{"name", "a.mp4"}, {"view", "comp"}}, "the request lacks \"over\"");
  refused(400, {{"name", "a.mp4"}, {"view", "upside"}}, "\"view\" is none of");
  refused(400, {{"name", "a.mp4"}, {"over", "red"}}, "is neither a colour");
  refused(400, {{"name", "a.mp4"}, {"over", {{"file", "../clip.mkv"}}}}, "give a plain file name");
  refused(409, {{"name", "taken.mkv"}}, "taken.mkv exists already");
  fs::create_symlink(other.path("elsewhere.mkv"), folder.path("link.mkv"));
  refused(400, {{"name", "link.mkv"}, {"replace", true}}, "is a link there");
  fs::remove(folder.path("link.mkv"));
  EXPECT_EQ("none", preview.get("api/export")["state"]);
  EXPECT_EQ((std::vector<std::string>{"clip.mkv", "taken.mkv"}), folder.names());
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "taken.mkv"}, {"replace", true}});
  EXPECT_EQ("done", ended(preview)["state"]);
  EXPECT_GT(fs::file_size(folder.path("taken.mkv")), 1000u);
  // Never over the clip itself.
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "clip.mkv"}, {"replace", true}});
  expectHas(ended(preview)["error"], "would overwrite the input");
  EXPECT_EQ(3u, readAll(clip).size());
}

TEST(Export, SentencesNameFilesPlainly) {
  const RoutedPreview preview(optionsFor(someClip()));  // into the private folder
  const Json settings{{"key-color", kKeyColor}};
  const auto refusal = [&](const Json& name, const char* codec) {
    return preview.refusal(400, "api/export", {{"settings", settings}, {"name", name}, {"codec", codec}});
  };
  EXPECT_EQ(0u, refusal("a.txt", "").rfind("a.txt: '.txt' cannot be written", 0)) << refusal("a.txt", "");
  EXPECT_EQ(0u, refusal("a.mp4", "ffv1").rfind("a.mp4: does not fit", 0)) << refusal("a.mp4", "ffv1");
  preview.post("api/export", {{"settings", settings}, {"name", "a.png"}});  // ten pictures
  const Json state = ended(preview);
  EXPECT_EQ("failed", state["state"]);
  EXPECT_EQ(std::string::npos, state["error"].get<std::string>().find('/')) << state["error"];
  expectHas(state["error"], "a.png");
}

TEST(Export, NamesWithoutAnEndingGetThatOfTheirKind) {
  const ScratchFolder folder;
  const RoutedPreview preview(optionsFor(someClip(), {folder.path("")}));
  const Json settings{{"key-color", kKeyColor}};
  for (const char* codec : {"ffv1", ""}) {
    preview.post("api/export", {{"settings", settings}, {"name", "a"}, {"codec", codec}});
    EXPECT_EQ("done", ended(preview)["state"]);
    const Json request{{"settings", settings}, {"output", "a"}, {"codec", codec}};
    EXPECT_EQ(preview.get("api/export")["file"], preview.post("api/command", request)["output"]);
  }
  EXPECT_EQ((std::vector<std::string>{"a.mkv", "a.mov"}), folder.names());
}

// The page's export and its command keep the same frames.
TEST(Export, KeepsWhatIsWholeOfAGappedClipOnlyWhereAsked) {
  const ScratchFolder folder, clips;
  for (const char* number : {"0001", "0002", "0004"}) {
    need(kFfmpeg + "-i " + someClip() + " -frames:v 1 " + clips.path(std::string("seq-") + number + ".png"));
  }
  const RoutedPreview preview(optionsFor(clips.path("seq-%04d.png"), {folder.path("")}));
  EXPECT_EQ("seq", preview.get("api/clip")["stem"]);
  Json request{{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}};
  preview.post("api/export", request);
  expectHas(ended(preview)["error"], "nothing was written");
  EXPECT_TRUE(folder.isEmpty());
  request["keepPartial"] = true;
  preview.post("api/export", request);
  const Json state = ended(preview);
  EXPECT_EQ("done", state["state"]) << state["error"];
  EXPECT_EQ(3u, readAll(folder.path("a.mov")).size());
  expectHas(state["notes"].dump(), "3 frames could be keyed");
  expectHas(preview.post("api/command", request)["command"], " --keep-partial");
  request["keepPartial"] = "yes";
  expectHas(preview.refusal(400, "api/export", request), "keepPartial");
}

TEST(Export, OnlyOneRunsAtATime) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "60", "640x360");
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  const Json request{{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}};
  preview.post("api/export", request);
  expectHas(preview.refusal(409, "api/export", request), "an export is under way");
  const Json state = waitFor([&] { return preview.get("api/export"); }, [](const Json& s) { return s["frames"] > 3; });
  EXPECT_EQ("running", state["state"]);
  EXPECT_EQ(60, state["of"]);
  EXPECT_GT(state["secondsLeft"], 0.0);
  EXPECT_EQ(404, preview.ask("GET", "api/export/file").status);
  EXPECT_EQ(200, preview.ask("DELETE", "api/export").status);
  EXPECT_EQ("cancelled", ended(preview)["state"]);
  EXPECT_TRUE(folder.isEmpty());
}

TEST(Export, CancelledAtAnyMomentItLeavesNothing) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "25");
  ExportJob job(jobOf(clip), folder.path(""));
  std::mt19937 random(3);
  int cancelled = 0;
  for (int i = 0; i < 80; ++i) {
    job.start(greenKey(), i % 2 == 0 ? "a.mov" : "a-%03d.png", false);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 120000));
    job.cancel();
    const ExportState state = ended(job);
    if (state.status == ExportStatus::Cancelled) {
      ++cancelled;
      EXPECT_TRUE(folder.isEmpty()) << folder.names().front();
    } else {
      ASSERT_EQ(ExportStatus::Done, state.status) << state.error;
      for (const std::string& name : folder.names()) fs::remove(folder.path(name));
    }
  }
  EXPECT_GT(cancelled, 10);
}

TEST(Export, EndsWithItsServerAndLeavesNothing) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "60", "640x360");
  {
    const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
    const Json settings{{"key-color", kKeyColor}};
    preview.post("api/export", {{"settings", settings}, {"name", "a.mov"}});
    preview.post("api/strip", {{"settings", settings}});
    waitFor([&] { return preview.get("api/export"); }, [](const Json& s) { return s["frames"] > 3; });
  }
  EXPECT_TRUE(folder.isEmpty());
}

TEST(Export, AFullDiskIsReportedInASentence) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "14");
  const RoutedPreview preview(optionsFor(clip, {folder.path("")}));
  Json state;
  {
    const FullDisk full(20000);
    preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mkv"}});
    state = ended(preview);
  }
  EXPECT_EQ("failed", state["state"]);
  expectHas(state["error"], "cannot be written");
  EXPECT_TRUE(folder.isEmpty());
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mkv"}});
  EXPECT_EQ("done", ended(preview)["state"]);
}

TEST(Export, AFolderThatVanishesIsReportedInASentence) {
  const ScratchFolder folder, other;
  const std::string clip = drawClip(other.path("clip.mkv"), "40", "640x360");
  const std::string place = folder.path("place");
  fs::create_directory(place);
  const RoutedPreview preview(optionsFor(clip, {place}));
  const Json request{{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}};
  preview.post("api/export", request);
  waitFor([&] { return preview.get("api/export"); }, [](const Json& s) { return s["frames"] > 3; });
  fs::remove_all(place);
  const Json state = ended(preview);
  EXPECT_EQ("failed", state["state"]);
  expectHas(state["error"], "a.mov");
  preview.post("api/export", request);
  expectHas(ended(preview)["error"], "does not exist");
  EXPECT_TRUE(folder.isEmpty());
}

}  // namespace
