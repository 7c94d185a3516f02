// What an interrupted run has done already.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "media/output/picture_hash.h"

namespace kalvetra {

// One keyed picture. Time and duration in the time base of the clip's pictures.
struct FrameRecord {
  std::int64_t time = 0;
  std::int64_t duration = 0;
  PictureHash hash{};
  int number = 1;  // of its file, in a numbered sequence
};

inline constexpr const char* kJournalName = "journal";
// Item of a job that is keyed at full depth: the look of that.
inline constexpr const char* kDepthItem = "depth";

// A text file, one JSON value a line: first what the job is, then, for each completed segment, its pictures. A line
// that a crash cut off does not count.
class Journal {
 public:
  // Opens the journal in `folder`, or begins one. `job` is a JSON object that distinguishes this job from others. One
  // that differs in nothing but its depth is begun anew. Throws UserError when the folder holds completed segments of
  // another job, naming what differs, or is in use by another run.
  Journal(const std::filesystem::path& folder, const std::string& job);
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  // The pictures of all completed segments, in order.
  const std::vector<FrameRecord>& frames() const { return frames_; }
  int segments() const { return static_cast<int>(segments_.size()); }
  // Segments of the same job at another depth were there, and are forgotten.
  bool isAnew() const { return anew_; }
  // Adds a completed segment; on disk when it returns.
  void add(const std::vector<FrameRecord>& segment);
  // Forgets all segments but the first `count`.
  void keep(int count);

 private:
  void read(const std::string& job);
  void readSegment(const std::string& line);
  void append(const std::string& line);
  void cutAt(std::int64_t bytes);

  // Where a segment ends.
  struct SegmentEnd {
    std::int64_t bytes;  // of the file
    std::size_t frames;
  };

  std::filesystem::path path_;
  int file_ = -1;
  std::int64_t head_ = 0;  // bytes of the first line
  bool anew_ = false;
  std::vector<FrameRecord> frames_;
  std::vector<SegmentEnd> segments_;
};

}  // namespace kalvetra
