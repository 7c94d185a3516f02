// The real program: downloads over HTTP, and its end while it works.
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "tests/preview/running_preview.h"
#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;

Json post(const RunningPreview& preview, const std::string& path, const Json& body) {
  const auto answer = preview.client().Post(preview.path(path), body.dump(), "application/json");
  if (!answer || answer->status != 200) throw std::runtime_error(path + ": " + (answer ? answer->body : "no answer"));
  return Json::parse(answer->body);
}

Json get(const RunningPreview& preview, const std::string& path) {
  return Json::parse(preview.client().Get(preview.path(path))->body);
}

bool isDone(const Json& state) { return state["state"] == "done"; }

TEST(PreviewProcess, HandsOutTheExportedFile) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  RunningPreview preview("--folder " + folder.path("") + " " + clip);
  const Json command = post(preview, "api/command", {{"settings", {{"key-color", kKeyColor}}}, {"output", "a.mov"}});
  EXPECT_EQ("kalvetra key " + clip + " " + folder.path("a.mov") + " --plain --key-color '#2da54b'",
            command["command"].get<std::string>());
  post(preview, "api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}});
  waitFor([&] { return get(preview, "api/export"); }, isDone);
  const auto file = preview.client().Get(preview.path("api/export/file"));
  ASSERT_TRUE(file);
  EXPECT_EQ("attachment; filename=\"a.mov\"; filename*=UTF-8''a.mov", file->get_header_value("Content-Disposition"));
  std::ifstream in(folder.path("a.mov"), std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(in), {});
  EXPECT_TRUE(bytes == file->body);
  EXPECT_GT(bytes.size(), 1000u);
  EXPECT_EQ(0, preview.end(SIGINT));
}

TEST(PreviewProcess, LeavesNothingWhenItIsInterruptedAtWork) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "60", "640x360");
  for (const int signal : {SIGINT, SIGTERM}) {
    const ScratchFolder temporary;
    RunningPreview preview(clip, temporary.path(""));
    const Json settings{{"key-color", kKeyColor}};
    post(preview, "api/export", {{"settings", settings}, {"name", "a.mov"}});
    post(preview, "api/strip", {{"settings", settings}});
    waitFor([&] { return get(preview, "api/export"); }, [](const Json& state) { return state["frames"] > 2; });
    EXPECT_EQ(1u, temporary.names().size());
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(0, preview.end(signal));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
    EXPECT_TRUE(temporary.isEmpty());
  }
}

TEST(PreviewProcess, EndsThoughADownloadIsUnderWay) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "20", "1280x720");
  const ScratchFolder temporary;
  RunningPreview preview(clip, temporary.path(""));
  post(preview, "api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.nut"}});  // 73 MB
  waitFor([&] { return get(preview, "api/export"); }, isDone);
  std::atomic<bool> began{false}, ended{false};
  std::thread slow([&] {
    preview.client().Get(preview.path("api/export/file"), [&](const char*, std::size_t) {
      began = true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      return !ended;
    });
  });
  waitFor([&] { return began.load(); }, [](bool yes) { return yes; });
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ(0, preview.end(SIGINT));
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
  EXPECT_TRUE(temporary.isEmpty());
  ended = true;
  slow.join();
}

TEST(PreviewProcess, RefusesWhatItCannotWorkWithInASentence) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "2");
  const Outcome outcome = run(kKalvetra + " preview --no-open --folder " + folder.path("none") + " " + clip);
  EXPECT_EQ(1, outcome.status);
  expectHas(outcome.output, "kalvetra: " + folder.path("none") + " is no folder that can be opened; create it");
}

}  // namespace
