// What is to become of one clip, and what became of it; see prepared_job.h.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "jobs/clip_keying.h"
#include "jobs/clip_range.h"
#include "jobs/companions.h"
#include "jobs/frame_keyer.h"
#include "jobs/proof.h"
#include "media/input/reader.h"
#include "media/output/delivery.h"
#include "media/output/picture_hash.h"

namespace kalvetra {

struct OutputRequest {
  ShownView view = ShownView::Result;
  std::string path;  // "-" is the standard output
  Delivery delivery;
};

// What a run writes instead of pictures.
enum class Measure {
  None,
  Null,  // nothing, to measure the speed
  Hash,  // a hash of each picture, to `hashPath` or, where that is empty, to the standard output
};

struct KeyJob {
  std::string input;
  SourceOptions source;
  ClipRange range;
  std::optional<int> startNumber;  // of the first picture of a numbered output; without: as in the source
  KeyingChoice keying;
  CompanionPaths companions;
  std::string cleanPlate;                     // a file or numbered sequence, where the settings' plate is clean
  std::string settingsRead, settingsWritten;  // files of settings, or empty: no output may have their names
  std::vector<OutputRequest> outputs;         // the first is the main one; none with a measure
  Measure measure = Measure::None;
  ShownView mainView = ShownView::Result;  // of the main output, and of what is measured
  bool animatedView = false;               // there the settings' view is shown, which changes on the way
  std::string hashPath;
  std::string receipt;  // path of the receipt; empty: none
  int threads = 1;
  bool replace = false;      // outputs that exist
  bool keepPartial = false;  // what can be keyed of a damaged clip
  bool resumable = false;    // goes on with an unfinished run, and can be gone on with
  bool sound = true;         // goes along where an output can hold it
  bool verify = true;        // outputs are opened again and checked
};

// How a job talks to its user; called from one thread at a time.
struct JobListener {
  std::function<void(const std::string& sentence)> note;
  std::function<void(std::int64_t expectedFrames, std::int64_t doneBefore)> begin;
  std::function<void()> frameDone;
  std::function<void()> end;  // of keying; checks may follow
};

struct WrittenOutput {
  OutputRequest request;
  Proof proof;               // empty when nothing was verified
  std::vector<int> numbers;  // of its pictures, ascending, where the output is numbered and verified or in a receipt
};

struct JobResult {
  std::int64_t frames = 0;                         // keyed, by earlier runs too
  std::int64_t keyedNow = 0;                       // by this run
  std::int64_t lostFrames = 0, damagedFrames = 0;  // of the input, in the range
  std::string damage;                              // a sentence; empty when all that was read was whole
  PictureHash clipHash{};  // as the hash output has it; only where outputs are verified or a receipt is written
  MatteStatus status;      // summed over all frames keyed now, where an output shows it
  OddValues odd;           // likewise, of the input at full depth
  std::vector<WrittenOutput> outputs;
};

}  // namespace kalvetra
