// Memory that runs out at every possible place of the command: exit status 1 with one sentence, and no output under its
// name, or all of them where they were in place already; a hidden part may stay, which the next run removes. In
// KALVETRA_EVERY_ALLOCATION's presence no place is passed over, which takes minutes.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "cli/program.h"
#include "jobs/auto_settings.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

std::atomic<long> allocationsLeft{-1};  // counts down to the one that fails; negative: none does
std::atomic<bool> failsOn{false};       // whether all that follow fail, too
std::atomic<bool> failed{false};

void* allocate(std::size_t size, std::size_t alignment) {
  if (allocationsLeft >= 0 && --allocationsLeft < 0) {
    failed = true;
    if (failsOn) allocationsLeft = 0;
    throw std::bad_alloc();
  }
  void* memory = std::aligned_alloc(alignment, (size + alignment) / alignment * alignment);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

// Out of the compiler's sight, which takes the pair for mismatched.
[[gnu::noinline]] void release(void* memory) { std::free(memory); }

}  // namespace

void* operator new(std::size_t size) { return allocate(size, alignof(std::max_align_t)); }
void* operator new[](std::size_t size) { return allocate(size, alignof(std::max_align_t)); }
void* operator new(std::size_t size, std::align_val_t a) { return allocate(size, static_cast<std::size_t>(a)); }
void* operator new[](std::size_t size, std::align_val_t a) { return allocate(size, static_cast<std::size_t>(a)); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }

namespace {

using kalvetra::test::ScratchFolder;

constexpr unsigned kSecondsToHang = 60;
constexpr int kSufficed = 77;  // exit status of a run in which no allocation failed

class OutOfMemory : public testing::Test {
 protected:
  OutOfMemory() {
    kalvetra::test::need(
        "ffmpeg -nostdin -v error -f lavfi -i 'color=0x20b040:s=32x24:r=5:d=0.6,format=yuv420p' "
        "-colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv " +
        source_.path("in.mkv"));
  }

  // Runs the command in a process of its own; false once the allocations sufficed.
  bool failsCleanly(const std::vector<std::string>& arguments, long before) {
    const ScratchFolder out;
    const int status = runIn(out, withName(arguments), before);
    const std::string said = sentence();
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status) << " after " << before << ": " << said;
    if (WIFEXITED(status) && WEXITSTATUS(status) == kSufficed) return false;
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {  // it could be done without
      EXPECT_EQ(whole_, out.names()) << "said to be done, after " << before;
      return true;
    }
    EXPECT_EQ(1, WEXITSTATUS(status)) << before << ": " << said;
    // Memory may run out after lines that say what was settled and written; a failure is said once.
    const auto last = said.size() < 2 ? std::string::npos : said.rfind('\n', said.size() - 2);
    const std::string lastLine = said.substr(last == std::string::npos ? 0 : last + 1);
    EXPECT_EQ(0u, lastLine.find("kalvetra: ")) << before << ": " << said;
    EXPECT_EQ(said.find("out of memory"), said.rfind("out of memory")) << before << ": " << said;
    std::vector<std::string> outputs = out.names();
    std::erase_if(outputs, [](const std::string& name) { return name.starts_with('.'); });
    EXPECT_TRUE(outputs.empty() || outputs == whole_) << outputs.front() << " alone after " << before << ": " << said;
    return true;
  }

  void walk(const std::vector<std::string>& arguments, bool failsOnwards) {
    failsOn = failsOnwards;
    const long step = std::getenv("KALVETRA_EVERY_ALLOCATION") != nullptr ? 1 : 97;
    long before = 0;
    {
      const ScratchFolder out;
      EXPECT_EQ(kSufficed << 8, runIn(out, withName(arguments), std::numeric_limits<long>::max()));
      whole_ = out.names();
    }
    while (!HasFailure() && failsCleanly(arguments, before)) before += step;
    EXPECT_GT(before, 2000);
    std::printf("%ld allocations\n", before);
  }

  std::string clip() const { return source_.path("in.mkv"); }

 private:
  static std::vector<std::string> withName(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "kalvetra");
    return arguments;
  }

  int runIn(const ScratchFolder& out, const std::vector<std::string>& arguments, long before) {
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("no process for the command");
    if (child != 0) {
      int status = 0;
      waitpid(child, &status, 0);
      return status;
    }
    std::vector<char*> argv;
    for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    if (chdir(out.path("").c_str()) != 0 || std::freopen(source_.path("said").c_str(), "w", stderr) == nullptr)
      _exit(3);
    alarm(kSecondsToHang);
    allocationsLeft = before;
    const int status = kalvetra::runProgram(static_cast<int>(argv.size()), argv.data());
    failsOn = false;
    allocationsLeft = -1;
    std::exit(failed ? status : kSufficed);
  }

  std::string sentence() const {
    std::ifstream file(source_.path("said"));
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  ScratchFolder source_;
  std::vector<std::string> whole_;  // what a run without failures leaves
};

TEST_F(OutOfMemory, OneFailureEndsTheCommandCleanly) {
  walk({"key", clip(), "out.mov", "--key-color", "#20b040", "--progress", "none", "--threads", "2"}, false);
}

TEST_F(OutOfMemory, MemoryThatStaysOutEndsTheCommandCleanly) {
  walk({"key", clip(), "out.mov", "--key-color", "#20b040", "--progress", "none", "--threads", "2"}, true);
}

// Without a receipt: the JSON library loses an object of its own when memory fails it.
TEST_F(OutOfMemory, NoneOfSeveralOutputsIsLeft) {
  walk({"key", clip(), "out-%03d.png", "--key-color", "#20b040", "--also", "matte=m-%03d.png", "--progress", "none",
        "--threads", "2"},
       false);
}

TEST_F(OutOfMemory, MemoryThatStaysOutLeavesNoSequence) {
  walk({"key", clip(), "out-%03d.png", "--key-color", "#20b040", "--also", "matte=m-%03d.png", "--progress", "none",
        "--threads", "2"},
       true);
}

// oneTBB's own start among the first allocations.
TEST_F(OutOfMemory, AProposalEndsThoughTheThreadsLibraryHasNoMemoryToBegin) {
  for (long before = 0; before < 40; ++before) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const std::atomic<bool> stop{false};
      kalvetra::Reader reader(clip(), 1, stop);
      alarm(kSecondsToHang);
      failsOn = false;
      allocationsLeft = before;
      try {
        kalvetra::proposeSettings(reader, 0x20b040, 2, stop, 1);
      } catch (const std::exception&) {
      }
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status) << "after " << before;
  }
}

}  // namespace
