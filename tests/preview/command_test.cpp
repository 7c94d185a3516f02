// The command that serves the page.
#include <fcntl.h>
#include <httplib.h>
#include <signal.h>

#include "tests/preview/served_clip.h"
#include "tests/support/command.h"

namespace kalvetra {
namespace {

// The command, running, its first line read.
class RunningPreview {
 public:
  explicit RunningPreview(const std::string& arguments) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      const std::string command = "exec " + test::kKalvetra + " preview --no-open " + arguments;
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    for (char c; read(ends[0], &c, 1) == 1 && c != '\n';) address_ += c;
    close(ends[0]);
  }
  ~RunningPreview() {
    if (process_ > 0) end(SIGKILL);
  }

  const std::string& address() const { return address_; }
  // The exit status.
  int end(int signal) {
    if (signal != 0) kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  httplib::Client client() const {
    httplib::Client client(address_.substr(0, address_.find('/', 8)));
    client.set_read_timeout(60);
    return client;
  }
  std::string path(const std::string& rest) const { return address_.substr(address_.find('/', 8)) + rest; }

 private:
  pid_t process_ = -1;
  std::string address_;
};

TEST(PreviewCommand, ServesUntilItIsToldToStop) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  RunningPreview byKey(clip);
  ASSERT_EQ(0U, byKey.address().rfind("http://127.0.0.1:", 0)) << byKey.address();
  EXPECT_EQ(200, byKey.client().Get(byKey.path("api/clip"))->status);
  EXPECT_EQ(0, byKey.end(SIGINT));
  RunningPreview byPage(clip);
  EXPECT_EQ(200, byPage.client().Post(byPage.path("api/quit"), "{}", "application/json")->status);
  EXPECT_EQ(0, byPage.end(0));
}

TEST(PreviewCommand, SaysWhatItCannotServe) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  std::ofstream(folder.path("bad.json")) << "{";
  const struct {
    std::string arguments;
    int status;
    const char* part;
  } cases[] = {{folder.path("none.mp4"), 1, "there is no such file"},
               {"-", 1, "cannot be searched"},
               {folder.path("bad.json"), 1, "is not a video"},
               {clip + " --preset " + folder.path("bad.json"), 1, "this is no JSON"},
               {clip + " --background " + folder.path("none.png"), 1, "there is no such file"},
               {clip + " --port 0", 2, "--port"},
               {clip + " --rate fast", 2, "is no rate"},
               {"", 2, "CLIP is required"}};
  for (const auto& c : cases) {
    const test::Outcome outcome = test::run("timeout 20 " + test::kKalvetra + " preview --no-open " + c.arguments);
    EXPECT_EQ(c.status, outcome.status) << c.arguments;
    test::expectHas(outcome.output, c.part);
    EXPECT_EQ(std::string::npos, outcome.output.find("http://")) << outcome.output;
  }
}

}  // namespace
}  // namespace kalvetra
