// The real program: downloads over HTTP, and its end while it works.
#include <httplib.h>
#include <signal.h>

#include <fstream>

#include "preview/equivalent_command.h"
#include "tests/preview/work_fixture.h"

namespace {

using namespace kalvetra;
using namespace kalvetra::test;
namespace fs = std::filesystem;

// `kalvetra preview` in a process of its own. Its temporary files lie in a folder of this object.
class RunningPreview {
 public:
  explicit RunningPreview(const std::string& arguments) {
    fs::create_directory(files_.path("tmp"));
    // The shell that waits for it lives on behind the test's own, which returns at once.
    need("cd " + files_.path("") + " && (TMPDIR=" + files_.path("tmp") + " " + kKalvetra + " preview --no-open " +
         arguments + " >url 2>err & echo $! >pid; wait $!; echo $? >status.part; mv status.part status) " +
         ">/dev/null 2>&1 &");
    const std::string url =
        waitFor([&] { return read("url"); }, [](const std::string& s) { return s.ends_with("\n"); });
    const std::size_t slash = url.find('/', 8), colon = url.rfind(':', slash);
    port_ = std::stoi(url.substr(colon + 1, slash - colon - 1));
    base_ = url.substr(slash, url.size() - slash - 1);
  }
  ~RunningPreview() {
    if (status().empty()) end(SIGKILL);
  }
  RunningPreview(const RunningPreview&) = delete;
  RunningPreview& operator=(const RunningPreview&) = delete;

  httplib::Client client() const { return httplib::Client("127.0.0.1", port_); }
  Json post(const std::string& path, const Json& body) const {
    const auto answer = client().Post(base_ + path, body.dump(), "application/json");
    EXPECT_TRUE(answer && answer->status == 200) << path << (answer ? answer->body : "");
    return Json::parse(answer->body);
  }
  Json get(const std::string& path) const { return Json::parse(client().Get(base_ + path)->body); }
  std::string base() const { return base_; }
  std::size_t temporaryFiles() const {
    const fs::directory_iterator all(files_.path("tmp"));
    return static_cast<std::size_t>(std::distance(fs::begin(all), fs::end(all)));
  }
  // The exit status, once it has ended.
  std::string end(int signal) {
    kill(std::stoi(read("pid")), signal);
    return waitFor([&] { return status(); }, [](const std::string& s) { return !s.empty(); });
  }

 private:
  std::string status() const { return read("status"); }
  std::string read(const std::string& name) const {
    std::ifstream in(files_.path(name));
    return {std::istreambuf_iterator<char>(in), {}};
  }

  ScratchFolder files_;
  int port_ = 0;
  std::string base_;
};

bool isDone(const Json& state) { return state["state"] == "done"; }

TEST(RunningPreview, HandsOutTheExportedFile) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "14");
  RunningPreview preview("--folder " + folder.path("") + " " + clip);
  const Json command = preview.post("api/command", {{"settings", {{"key-color", kKeyColor}}}, {"output", "a.mov"}});
  EXPECT_EQ("kalvetra key " + clip + " " + folder.path("a.mov") + " --key-color '#2da54b'", command["command"]);
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.mov"}});
  waitFor([&] { return preview.get("api/export"); }, isDone);
  const auto file = preview.client().Get(preview.base() + "api/export/file");
  ASSERT_TRUE(file);
  EXPECT_EQ("attachment; filename=\"a.mov\"; filename*=UTF-8''a.mov", file->get_header_value("Content-Disposition"));
  std::ifstream in(folder.path("a.mov"), std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(in), {});
  EXPECT_TRUE(bytes == file->body);
  EXPECT_GT(bytes.size(), 1000u);
  EXPECT_EQ("0\n", preview.end(SIGINT));
}

TEST(RunningPreview, LeavesNothingWhenItIsInterruptedAtWork) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "60", "640x360");
  for (const int signal : {SIGINT, SIGTERM}) {
    RunningPreview preview(clip);
    const Json settings{{"key-color", kKeyColor}};
    preview.post("api/export", {{"settings", settings}, {"name", "a.mov"}});
    preview.post("api/strip", {{"settings", settings}});
    waitFor([&] { return preview.get("api/export"); }, [](const Json& state) { return state["frames"] > 2; });
    EXPECT_EQ(1u, preview.temporaryFiles());
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ("0\n", preview.end(signal));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
    EXPECT_EQ(0u, preview.temporaryFiles());
  }
}

TEST(RunningPreview, EndsThoughADownloadIsUnderWay) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "20", "1280x720");
  RunningPreview preview(clip);
  preview.post("api/export", {{"settings", {{"key-color", kKeyColor}}}, {"name", "a.nut"}});  // 73 MB
  waitFor([&] { return preview.get("api/export"); }, isDone);
  std::atomic<bool> began{false}, ended{false};
  std::thread slow([&] {
    preview.client().Get(preview.base() + "api/export/file", [&](const char*, std::size_t) {
      began = true;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      return !ended;
    });
  });
  waitFor([&] { return began.load(); }, [](bool yes) { return yes; });
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_EQ("0\n", preview.end(SIGINT));
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(8));
  EXPECT_EQ(0u, preview.temporaryFiles());
  ended = true;
  slow.join();
}

TEST(RunningPreview, RefusesWhatItCannotWorkWithInASentence) {
  const ScratchFolder folder;
  const std::string clip = drawClip(folder.path("clip.mkv"), "2");
  const Outcome outcome = run(kKalvetra + " preview --no-open --folder " + folder.path("none") + " " + clip);
  EXPECT_EQ(1, outcome.status);
  expectHas(outcome.output, "kalvetra: " + folder.path("none") + " is no folder that can be opened; create it");
}

}  // namespace
