// The command that serves the page.
#include "tests/support/command.h"
#include "tests/preview/running_preview.h"
#include "tests/preview/served_clip.h"

namespace kalvetra {
namespace {

TEST(PreviewCommand, ServesUntilItIsToldToStop) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  test::RunningPreview byKey(clip);
  ASSERT_EQ(0U, byKey.address().rfind("http://127.0.0.1:", 0)) << byKey.address();
  EXPECT_EQ(200, byKey.client().Get(byKey.path("api/clip"))->status);
  EXPECT_EQ(0, byKey.end(SIGINT));
  test::RunningPreview byPage(clip);
  EXPECT_EQ(200, byPage.client().Post(byPage.path("api/quit"), "{}", "application/json")->status);
  EXPECT_EQ(0, byPage.end(0));
}

// What other users see of commands must not have the token in it.
TEST(PreviewCommand, OpensThePageWithoutNamingIt) {
  const test::ScratchFolder folder, temporary;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  std::ofstream(folder.path("xdg-open")) << "#!/bin/sh\necho \"$@\" > " << folder.path("seen")
                                         << "\nstat -c %a \"$1\" \"${1%/*}\" > " << folder.path("modes")
                                         << "\ncp \"$1\" " << folder.path("copy") << "\nmv " << folder.path("copy")
                                         << " " << folder.path("page") << "\n";
  test::need("chmod 755 " + folder.path("xdg-open"));
  test::need("mkdir \"" + temporary.path("it's") + "\"");
  const std::string command = "TMPDIR=\"" + temporary.path("it's") + "\" PATH=" + folder.path("") +
                              ":$PATH DISPLAY=:9 timeout 60 " + test::kKalvetra + " preview " + clip;
  const auto [status, address] = test::signalledOnce("[ -e " + folder.path("page") + " ]", command, "INT");
  EXPECT_EQ(0, status);
  const auto text = [&](const char* name) { return test::need("cat " + folder.path(name)); };
  ASSERT_EQ(0U, address.rfind("http://127.0.0.1:", 0)) << address;
  const std::string whole = address.substr(0, address.find('\n'));
  test::expectHas(text("seen"), ".html");
  EXPECT_EQ(std::string::npos, text("seen").find(whole.substr(whole.find('/', 8)))) << text("seen");
  EXPECT_EQ("600\n700\n", text("modes"));
  test::expectHas(text("page"), "url=" + whole + "\"");
  EXPECT_TRUE(std::filesystem::is_empty(temporary.path("it's")));
}

TEST(PreviewCommand, SaysWhatItCannotServe) {
  const test::ScratchFolder folder;
  const std::string clip = test::makeGreenClip(folder, "clip.mp4", 5);
  std::ofstream(folder.path("bad.json")) << "{";
  test::need(test::kFfmpeg + "-f lavfi -i color=white:s=80x45 -frames:v 1 " + folder.path("small.png"));
  const struct {
    std::string arguments;
    int status;
    const char* part;
  } cases[] = {{folder.path("none.mp4"), 1, "there is no such file"},
               {"-", 1, "cannot be searched"},
               {folder.path("bad.json"), 1, "is not a video"},
               {clip + " --preset " + folder.path("bad.json"), 1, "this is no JSON"},
               {clip + " --background " + folder.path("none.png"), 1, "there is no such file"},
               {clip + " --garbage " + folder.path("small.png"), 1, "scale the garbage matte to the clip's size"},
               {clip + " --holdout " + folder.path("none.png"), 1, "there is no such file"},
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
