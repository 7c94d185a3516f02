// Outputs that keep no pictures, and the instruction sets, on real files.
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "cpu/cpu_level.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using kalvetra::test::need;
using kalvetra::test::Outcome;
using kalvetra::test::run;
using kalvetra::test::ScratchFolder;

const std::string kKey = std::string(KALVETRA_COMMAND) + " key ";

// 10 frames, with sound; green enough for a key.
std::string makeClip(const ScratchFolder& folder) {
  const std::string clip = folder.path("clip.mp4");
  need(std::string("ffmpeg -nostdin -v error -y -f lavfi -i testsrc2=s=322x180:r=10:d=1 -f lavfi -i sine=d=1 ") +
       "-vf colorize=hue=130:saturation=0.6:lightness=0.4 -c:v libx264 -pix_fmt yuv420p -bf 2 " + clip);
  return clip;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The hashes are those that another program computes of the lossless output.
TEST(HashOutput, IsOfTheKeyedBytes) {
  const ScratchFolder folder;
  const std::string clip = makeClip(folder), options = " --key-color 60,190,80 --shadow 50 ";
  need(kKey + clip + options + folder.path("o.mkv"));
  const std::string judged = need("ffmpeg -nostdin -v error -i " + folder.path("o.mkv") +
                                  " -map 0:v -pix_fmt argb -f framehash -hash murmur3 - | grep -v '#' | sed 's/.* //'");
  const std::vector<std::string> hashes = linesOf(judged);
  const std::string text = need(kKey + clip + options + "-f hash 2>/dev/null");
  const std::vector<std::string> lines = linesOf(text);
  ASSERT_EQ(10u, hashes.size());
  ASSERT_EQ(11u, lines.size());
  EXPECT_EQ("1 0.000000 " + hashes[0], lines[0]);
  EXPECT_EQ("10 0.900000 " + hashes[9], lines[9]);
  for (std::size_t i = 0; i < 10; ++i) EXPECT_TRUE(lines[i].ends_with(" " + hashes[i])) << lines[i];
  EXPECT_EQ(0u, lines[10].find("clip 10 "));
  EXPECT_NE(hashes[0], hashes[9]);

  need(kKey + clip + options + "-f hash " + folder.path("o.txt"));
  EXPECT_EQ(text, need("cat " + folder.path("o.txt")));
  EXPECT_EQ(text, need(kKey + clip + options + "--format hash - --threads 1 2>/dev/null"));
  const std::string turned = folder.path("turned.mp4");  // a note in the file; the keyed bytes are not turned
  need("ffmpeg -nostdin -v error -i " + clip + " -c copy -metadata:s:v rotate=90 " + turned);
  EXPECT_EQ(text, need(kKey + turned + options + "-f hash 2>/dev/null"));
}

TEST(HashOutput, EveryInstructionSetGivesTheSame) {
  const ScratchFolder folder;
  const std::string clip = makeClip(folder);
  const std::string reference = need(kKey + clip + " --key-color 60,190,80 -f hash 2>/dev/null");
  EXPECT_EQ(11u, linesOf(reference).size());
  for (const kalvetra::CpuLevel level : kalvetra::cpuLevels()) {
    const std::string name(kalvetra::cpuLevelName(level));
    EXPECT_EQ(reference, need(kKey + clip + " --key-color 60,190,80 -f hash --cpu " + name + " 2>/dev/null")) << name;
  }
}

TEST(NullOutput, KeysAndWritesNothing) {
  const ScratchFolder folder;
  const std::string clip = makeClip(folder);
  const std::vector<std::string> before = folder.names();
  for (const char* grammar : {" -f null", " - --format null"}) {
    const std::string said = need("cd " + folder.path("") + " && " + kKey + clip + grammar + " --key-color 0,200,60");
    EXPECT_NE(std::string::npos, said.find("kalvetra: keyed 10 frames in ")) << said;
  }
  EXPECT_EQ(before, folder.names());
}

TEST(MeasuringOptions, BadUseGetsOneSentence) {
  const ScratchFolder folder;
  const std::string clip = makeClip(folder), color = " --key-color 0,200,60 ";
  std::string missing = "neon", known = "auto";
  for (const kalvetra::CpuLevel level : kalvetra::cpuLevels()) {
    if (level == kalvetra::CpuLevel::Neon) missing = "sse4";
    known += ", " + std::string(kalvetra::cpuLevelName(level));
  }
  const struct {
    std::string arguments;
    int status;
    std::string sentence;
  } cases[] = {
      {clip, 2, "OUTPUT is required"},
      {clip + " -f null " + folder.path("x.mov"), 2, "-f null writes nothing; leave " + folder.path("x.mov") + " out"},
      {clip + " -f mov " + folder.path("x.mov"), 2, "--format: mov not in {null,hash,nut,raw}"},
      {clip + " -f null --cpu " + missing, 2, "this machine has no " + missing + "; give " + known},
      {clip + " -f null --cpu mmx", 2, "'mmx' is not among its values; give " + known},
      {clip + color + "-f hash " + clip, 1, "would overwrite the input"},
      {clip + color + "-f hash " + folder.path("x-%d.txt"), 1, "the hashes go to one file"},
      {clip + color + "-f hash > /dev/full", 1, "the standard output: cannot be written"},
  };
  const std::vector<std::string> before = folder.names();
  for (const auto& c : cases) {
    const Outcome outcome = run(kKey + c.arguments);
    EXPECT_EQ(c.status, outcome.status) << c.arguments;
    EXPECT_NE(std::string::npos, outcome.output.find(c.sentence)) << c.arguments << ": " << outcome.output;
    EXPECT_EQ(before, folder.names()) << c.arguments;
  }
  // A limit on the size of files strikes while the text is written.
  const Outcome full = run("ulimit -f 0; " + kKey + clip + color + "-f hash " + folder.path("x.txt"));
  EXPECT_EQ(1, full.status);
  EXPECT_NE(std::string::npos, full.output.find("x.txt: cannot be written")) << full.output;
  EXPECT_EQ(before, folder.names());
}

}  // namespace
