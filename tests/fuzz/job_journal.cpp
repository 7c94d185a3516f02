// The journal of an interrupted run, as a crash or a bad disk may have left it.
#include <fstream>

#include "jobs/journal.h"
#include "support/user_error.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/require.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::FrameRecord;
using kalvetra::Journal;
using kalvetra::test::require;

constexpr const char* kJob = R"({"a":1,"b":"clip"})";

bool same(const FrameRecord& a, const FrameRecord& b) {
  return a.time == b.time && a.duration == b.duration && a.hash == b.hash && a.number == b.number;
}

}  // namespace

// What is read of it is read again, with what is added.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kalvetra::test::ScratchFolder folder;
  std::ofstream(folder.path(kalvetra::kJournalName), std::ios::binary) << kalvetra::test::FuzzInput(data, size).rest();
  try {
    std::vector<FrameRecord> frames;
    int segments = 0;
    {
      Journal journal(folder.path(""), kJob);
      require(journal.segments() > 0 || journal.frames().empty(), "pictures outside of all segments");
      journal.add({{7, 1, {}}, {8, 2, {}}});
      frames = journal.frames();
      segments = journal.segments();
    }
    Journal again(folder.path(""), kJob);
    require(again.segments() == segments &&
                std::equal(frames.begin(), frames.end(), again.frames().begin(), again.frames().end(), same),
            "a journal is read otherwise than written");
    again.keep(0);
    require(again.frames().empty(), "what was forgotten is still there");
  } catch (const kalvetra::UserError&) {
  }
  return 0;
}
