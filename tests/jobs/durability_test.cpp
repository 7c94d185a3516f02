// What a resumable run has put on the disk by the time that its journal records it. The calls that do so are watched.
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "jobs/prepared_job.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace kalvetra;

// Names of files and folders in the order in which they were synced.
std::vector<std::string> synced;

void note(int file) {
  const fs::path path = fs::read_symlink("/proc/self/fd/" + std::to_string(file));
  synced.push_back(path.filename().string());
}

}  // namespace

// In the place of the C library's, which they ask for the same.
extern "C" int fsync(int file) {
  note(file);
  return static_cast<int>(syscall(SYS_fsync, file));
}
extern "C" int fdatasync(int file) {
  note(file);
  return static_cast<int>(syscall(SYS_fdatasync, file));
}

namespace {

// Two segments: of 60 pictures, and of the rest.
std::vector<std::string> syncedBy(const std::string& output) {
  const test::ScratchFolder folder;
  av_log_set_level(AV_LOG_QUIET);
  test::need("ffmpeg -nostdin -v error -y -f lavfi -i color=green:s=32x32:r=25 -frames:v 61 -c:v ffv1 " +
             folder.path("clip.mkv"));
  KeyJob job;
  job.input = folder.path("clip.mkv");
  DeliveryRequest request;
  request.path = folder.path(output);
  job.outputs = {{ShownView::Result, request.path, chooseDelivery(request)}};
  job.resumable = true;
  JobListener listener;
  listener.note = [](const std::string&) {};
  listener.begin = [](std::int64_t, std::int64_t) {};
  listener.frameDone = listener.end = [] {};
  const std::atomic<bool> never{false};
  synced.clear();
  EXPECT_EQ(61, PreparedJob(job, listener, never).run(AnimatedSettings()).frames);
  return synced;
}

// The places of the journal's lines among what was synced: its head, and one a segment.
std::vector<std::size_t> journalLines(const std::vector<std::string>& names) {
  std::vector<std::size_t> lines;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] == "journal") lines.push_back(i);
  }
  return lines;
}

bool has(const std::vector<std::string>& names, std::size_t from, std::size_t to, const std::string& name) {
  return std::find(names.begin() + static_cast<std::ptrdiff_t>(from), names.begin() + static_cast<std::ptrdiff_t>(to),
                   name) != names.begin() + static_cast<std::ptrdiff_t>(to);
}

TEST(Durability, ASegmentIsOnTheDiskBeforeTheJournalRecordsIt) {
  const std::vector<std::string> names = syncedBy("o.mkv");
  const std::vector<std::size_t> lines = journalLines(names);
  ASSERT_EQ(3u, lines.size()) << "each line of the journal is made durable itself";
  for (std::size_t segment = 1; segment <= 2; ++segment) {
    const std::size_t from = lines[segment - 1], to = lines[segment];
    EXPECT_TRUE(has(names, from, to, "segment-0000" + std::to_string(segment)));
    EXPECT_TRUE(has(names, from, to, ".o.mkv.unfinished")) << "the folder that names it";
  }
}

TEST(Durability, EveryPictureOfASequenceIsOnTheDiskBeforeTheJournalRecordsIt) {
  const std::vector<std::string> names = syncedBy("o-%03d.png");
  const std::vector<std::size_t> lines = journalLines(names);
  ASSERT_EQ(3u, lines.size());
  for (int picture = 1; picture <= 61; ++picture) {
    const std::size_t segment = picture <= 60 ? 1 : 2;
    char name[16];
    std::snprintf(name, sizeof name, "o-%03d.png", picture);
    EXPECT_TRUE(has(names, lines[segment - 1], lines[segment], name)) << name;
  }
}

}  // namespace
