// The command while the world around it fails: disks fill up, folders go, inputs change, processes are ended. Whatever
// happens, a file under the final name is whole, a failure is reported in a sentence, and a run can be resumed.
// KALVETRA_DISTURBANCES in the environment names another number of random runs than that of every day.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <set>

#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra::test;

class FailingWorld : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<ScratchFolder>();
    need(kFfmpeg +
         "-f lavfi -i testsrc2=s=320x180:r=30 -frames:v 90 -vf colorize=hue=130:saturation=0.6:lightness=0.4 " +
         "-c:v mjpeg -q:v 3 -color_range pc -colorspace smpte170m " + clip());
    const auto start = std::chrono::steady_clock::now();
    need(key(clip() + " " + folder_->path("whole.mkv") + kOptions));
    seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    hash_ = hashOf(folder_->path("whole.mkv"));
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static std::string clip() { return folder_->path("clip.mkv"); }
  static std::string hashOf(const std::string& movie) {
    return need(kFfmpeg + "-i " + movie + " -map 0:v -pix_fmt rgba -f md5 -");
  }
  static void expectOneSentence(const Outcome& outcome) {
    const std::string& text = outcome.output;
    EXPECT_EQ(1, outcome.status) << text;
    EXPECT_EQ(0u, text.find("kalvetra: ")) << text;
    EXPECT_EQ(text.size() - 1, text.find('\n')) << text;
  }

  static inline const std::string kOptions = " --threads 2 --plain --key-color 60,190,80 --progress none";
  static inline std::unique_ptr<ScratchFolder> folder_;
  static inline std::string hash_;
  static inline double seconds_ = 0;
  ScratchFolder out_;
};

// A file system of `size` in memory, gone with the object.
class SmallDisk {
 public:
  SmallDisk(const std::string& folder, const std::string& size) : folder_(folder) {
    fs::create_directory(folder);
    mounted_ = run("mount -t tmpfs -o size=" + size + " none " + folder).status == 0;
  }
  ~SmallDisk() {
    if (mounted_) run("umount -l " + folder_);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;
  bool mounted() const { return mounted_; }

 private:
  std::string folder_;
  bool mounted_;
};

TEST_F(FailingWorld, AFullDisk) {
  const SmallDisk disk(out_.path("disk"), "400k");
  if (!disk.mounted()) GTEST_SKIP() << "mounting needs more rights";
  for (const char* name : {"o.mov", "o.mkv", "o-%04d.png", "o.mkv --resume", "o.mov --also matte=../m.mov"}) {
    const Outcome outcome = run("cd " + out_.path("disk") + " && " + key(clip() + " " + name + kOptions));
    EXPECT_EQ(1, outcome.status) << name;
    expectHas(outcome.output, "No space left on device");
    EXPECT_FALSE(fs::exists(out_.path("m.mov"))) << name;
    for (const auto& entry : fs::directory_iterator(out_.path("disk"))) {
      const std::string left = entry.path().filename().string();
      EXPECT_TRUE(left.starts_with(".o.mkv.unfinished")) << left << " is left by " << name;
      fs::remove_all(entry);
    }
  }
  // More room, and the run continues.
  expectHas(run("cd " + out_.path("disk") + " && " + key(clip() + " o.mkv --resume" + kOptions)).output, "No space");
  need("mount -o remount,size=60m " + out_.path("disk"));
  need(key(clip() + " " + out_.path("disk/o.mkv") + " --resume" + kOptions));
  EXPECT_EQ(hash_, hashOf(out_.path("disk/o.mkv")));
}

TEST_F(FailingWorld, ADiskThatIsReadOnly) {
  const SmallDisk disk(out_.path("disk"), "4m");
  if (!disk.mounted()) GTEST_SKIP() << "mounting needs more rights";
  need("mount -o remount,ro " + out_.path("disk"));
  for (const char* name : {"o.mov", "o-%04d.png", "o.mkv --resume", "x.mov --also matte=disk/m.mov"}) {
    const std::string folder = out_.path(std::string(name).starts_with("x") ? "" : "disk");
    const Outcome outcome = run("cd " + folder + " && " + key(clip() + " " + name + kOptions));
    expectOneSentence(outcome);
    expectHas(outcome.output, "Read-only file system");
    EXPECT_FALSE(fs::exists(out_.path("x.mov")));
  }
}

TEST_F(FailingWorld, AnOutputFolderThatGoes) {
  for (const char* name : {"o.mkv", "o-%04d.png", "o.mkv --resume"}) {
    const std::string folder = out_.path("place"), elsewhere = out_.path("elsewhere");
    fs::create_directory(folder);
    // As soon as it has begun to write.
    const Outcome outcome = run("(until [ -n \"$(ls -A " + folder + ")\" ]; do sleep 0.01; done; mv " + folder + " " +
                                elsewhere + ") & " + key(clip() + " " + folder + "/" + name + kOptions));
    expectOneSentence(outcome);
    EXPECT_TRUE(std::regex_search(outcome.output, std::regex("does not exist|[Nn]o such file"))) << outcome.output;
    EXPECT_FALSE(fs::exists(folder)) << name;
    fs::remove_all(elsewhere);
  }
}

TEST_F(FailingWorld, AnInputThatShrinksOrGrows) {
  const std::string input = out_.path("in.mkv"), output = out_.path("o.mkv");
  const std::string command = key(input + " " + output + kOptions), wait = "(sleep " + std::to_string(seconds_ / 3);
  fs::copy_file(clip(), input);
  const Outcome shrunk = run(wait + "; truncate -s 60000 " + input + ") & " + command);
  if (shrunk.status == 0) {  // all of it had been read
    EXPECT_EQ(hash_, hashOf(output));
  } else {
    EXPECT_EQ(1, shrunk.status) << shrunk.output;
    EXPECT_FALSE(fs::exists(output));
  }
  fs::remove(output);
  fs::copy_file(clip(), input, fs::copy_options::overwrite_existing);
  const Outcome grown = run(wait + "; head -c 300000 /dev/urandom >> " + input + ") & " + command);
  if (grown.status == 0) {
    EXPECT_EQ(hash_, hashOf(output));
  } else {
    EXPECT_EQ(1, grown.status) << grown.output;
    EXPECT_FALSE(fs::exists(output));
  }
}

// What a killed run has left goes with the next run of the same output, and with no other.
TEST_F(FailingWorld, PartsOfAKilledRunGoWithTheNext) {
  if (!fs::exists("/proc/sys/kernel/random/boot_id")) GTEST_SKIP() << "the system has no name that tells its starts";
  const auto command = [&](const std::string& name) {
    return key(clip() + " " + out_.path(name) + kOptions + " --also matte=" + out_.path("m-%04d.png"));
  };
  const std::string mattes = out_.path("black.nut"), pipe = out_.path("pipe");
  need(kFfmpeg + "-f lavfi -i color=black:s=320x180:r=30:d=3,format=rgb24 -c:v ffv1 -pix_fmt bgr0 " + mattes);
  const auto half = static_cast<int>(fs::file_size(mattes) / 2);
  const Outcome killed = signalledOnce("ls " + out_.path(".m-*/*.png"),
                                       stalled(command("o.mkv") + " --garbage -", mattes, half, pipe), "KILL");
  ASSERT_EQ(137, killed.status) << killed.output;
  for (const std::string& file : {mattes, pipe}) fs::remove(file);
  ASSERT_EQ(2u, out_.names().size());
  EXPECT_EQ(std::string::npos, need(key(clip() + " " + out_.path("x.mkv") + kOptions)).find("was left"));
  const std::string said = need(command("o.mkv"));
  expectHas(said, ".o.mkv.part-");
  expectHas(said, ".m-%04d.png.part-");
  expectHas(said, "was left by a run that was killed: removed");
  EXPECT_EQ(hash_, hashOf(out_.path("o.mkv")));
  for (const std::string& name : out_.names()) EXPECT_NE('.', name.front()) << name;
}

// Ended at any moment by any signal: nothing stands under the final name unless it is whole, a signal that can be
// caught leaves nothing at all, and the run can be resumed.
TEST_F(FailingWorld, EndedAtRandomMoments) {
  const char* number = std::getenv("KALVETRA_DISTURBANCES");
  const int runs = number == nullptr ? 12 : std::atoi(number);
  std::mt19937 random(static_cast<unsigned>(runs));
  int ended = 0;
  for (int i = 0; i < runs; ++i) {
    const std::string signal = i % 2 == 0 ? "KILL" : "TERM";
    const bool resumable = i % 4 < 2;
    const std::string moment = std::to_string(seconds_ * static_cast<double>(random() % 1000) / 900);
    const std::string command = key(clip() + " " + out_.path("o.mkv") + kOptions + (resumable ? " --resume" : ""));
    SCOPED_TRACE(signal + " after " + moment + " s" + (resumable ? ", resumable" : ""));
    const Outcome outcome = run("timeout --preserve-status -s " + signal + " " + moment + " " + command);
    if (outcome.status == 0) {
      EXPECT_EQ(hash_, hashOf(out_.path("o.mkv")));
    } else {
      ++ended;
      // 143: before the program had begun.
      const std::set<int> expected = signal == "KILL" ? std::set{137} : std::set{130, 143};
      EXPECT_TRUE(expected.contains(outcome.status)) << outcome.status << ": " << outcome.output;
      const bool wasInPlace = fs::exists(out_.path("o.mkv"));  // and only then killed
      if (wasInPlace) {
        EXPECT_EQ(hash_, hashOf(out_.path("o.mkv")));
      }
      EXPECT_TRUE(!wasInPlace || signal == "KILL");
      for (const std::string& name : out_.names()) EXPECT_TRUE(name == "o.mkv" || name.front() == '.') << name;
      EXPECT_TRUE(signal == "KILL" || resumable || out_.isEmpty());
      if (!wasInPlace) need(command);
      EXPECT_EQ(hash_, hashOf(out_.path("o.mkv")));
    }
    for (const std::string& name : out_.names()) fs::remove_all(out_.path(name));
    if (HasFailure()) return;
  }
  std::printf("%d of %d runs were ended before they were done\n", ended, runs);
  EXPECT_GT(ended, 0);
}

}  // namespace
