// Pictures on the standard output: nothing else may go there.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::Image;
using namespace kalvetra::test;

struct Clip {
  ScratchFolder folder;
  std::string path = folder.path("clip.mp4");
  Clip() {
    need(kFfmpeg + "-f lavfi -i color=0x2da54b:s=160x90:r=25:d=1 -f lavfi -i testsrc=s=60x60:r=25:d=1 -f lavfi -i " +
         "sine=d=1 -filter_complex overlay=50:15 -c:v libx264 -c:a aac -colorspace bt709 -color_range tv " + path);
  }
};

// What is piped out is a NUT file with everything that a named one has.
TEST(StandardOutput, IsTheSameAsAFile) {
  const Clip clip;
  const std::string piped = clip.folder.path("piped.nut"), named = clip.folder.path("named.nut");
  need(key(clip.path + " - > " + piped));
  need(key(clip.path + " " + named));
  const std::vector<Image> first = readAll(piped), second = readAll(named);
  ASSERT_EQ(25u, first.size());
  ASSERT_EQ(25u, second.size());
  for (std::size_t i = 0; i < first.size(); ++i) ASSERT_EQ(second[i].bytes, first[i].bytes);
  const std::string streams = probe("stream=codec_name,pix_fmt:format_tags", piped);
  expectHas(streams, "codec_name=rawvideo|pix_fmt=bgra");
  expectHas(streams, "codec_name=aac");
  expectHas(streams, "tag:kalvetra_alpha=straight");
  EXPECT_EQ(pictureTimes(named), pictureTimes(piped));
}

// The exit status of what writes into a pipe whose reader leaves early, and what it says.
TEST(StandardOutput, AReaderThatGoesAwayGetsOneSentence) {
  const Clip clip;
  const ScratchFolder out;
  for (const std::string target : {" -", " - -f hash"}) {
    const std::string arguments = clip.path + target + " --plain --key-color '#2da54b'";
    // It waits until the reader has gone for certain.
    need("bash -c \"(sleep 1; " + key(arguments) + " 2> " + out.path("said") + ") | true; echo \\${PIPESTATUS[0]} > " +
         out.path("status") + "\"");
    std::ifstream status(out.path("status")), said(out.path("said"));
    const std::string text{std::istreambuf_iterator<char>(said), {}};
    int code = -1;
    status >> code;
    EXPECT_EQ(1, code) << text;
    EXPECT_EQ(
        "kalvetra: the standard output: its reader has gone before everything was written; let it read to the end\n",
        text);
  }
}

}  // namespace
