// The numbered picture files that a pattern like shot-%05d.png stands for.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "media/ffmpeg.h"
#include "media/files/numbered_name.h"

namespace kalvetra {

struct NumberRange {
  int first;
  int last;  // included
};

// Finds its files once, by listing their folder, and hands them out one by one. Gaps between them are skipped, but keep
// their place in time.
class ImageSequence {
 public:
  // True when `path` is the pattern of a sequence, and not the name of a file that is there.
  static bool isPattern(const std::string& path);

  // Throws UserError when no file fits the pattern.
  explicit ImageSequence(const std::string& pattern);

  std::string firstFile() const { return fileOf(numbers_.front()); }
  int size() const { return static_cast<int>(numbers_.size()); }
  const std::vector<int>& numbers() const { return numbers_; }  // of its files, ascending
  const std::vector<NumberRange>& gaps() const { return gaps_; }
  int missing() const;  // numbers in the gaps
  // Those of them before the file of that time, counted as read() does.
  int missingBefore(std::int64_t time) const;

  // The next file as one packet, whose time is its number less the first one. AVERROR_EOF after the last; any other
  // error is about this file alone.
  int read(AVPacket& packet);
  void seek(double fraction);            // 0..1 of the files
  void seekNumber(std::int64_t offset);  // to the file whose number is the first one's plus that, or the next one

 private:
  std::string fileOf(int number) const;

  std::filesystem::path folder_;
  NumberedName name_;
  std::vector<int> numbers_;  // ascending
  std::vector<NumberRange> gaps_;
  std::size_t next_ = 0;
};

// "12, 40..41"
std::string describeRanges(const std::vector<NumberRange>& ranges);

}  // namespace kalvetra
