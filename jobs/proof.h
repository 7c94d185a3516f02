// Opens a written output again and compares it with what was keyed.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "jobs/journal.h"
#include "media/input/reader.h"
#include "media/output/delivery.h"

namespace kalvetra {

// What a written output must turn out to be.
struct Promise {
  Delivery delivery;
  std::vector<FrameRecord> frames;        // all pictures, with the times that they were written with
  std::map<std::int64_t, Image> samples;  // by index, as sampleOf gives what was keyed: straight alpha, not turned
  PictureFormat pictures;                 // of the source
  int soundStreams = 0;
  std::string timecode;  // empty: none
};

struct Proof {
  std::vector<std::string> checks;       // what was found in order, a few words each
  std::vector<std::string> differences;  // what was not, a sentence part each

  // Notes the one or the other; an empty check is none of its own.
  void expect(bool holds, const std::string& check, const std::string& difference);
};

// `path` is the output, a file or a numbered sequence, wherever it lies now. Throws UserError where it cannot be opened
// at all.
Proof prove(const std::string& path, const Promise& promise, int threads, const std::atomic<bool>& stop);

}  // namespace kalvetra
