// The first, a middle and the last picture of an output as it was keyed, to compare with what was written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "media/picture.h"

namespace kalvetra {

// True for the pictures to be shown to SamplePictures: of index 0 or a power of two, and the last.
bool isSample(std::int64_t index, bool isLast);

// How many pictures there will be is not known on the way. Of the powers of two there is always one in the middle
// third.
class SamplePictures {
 public:
  // Samples in the clip's order. Keeps at most five pictures.
  void add(std::int64_t index, Image image);

  // By index: the first, the middle and the last of a clip of so many pictures.
  std::map<std::int64_t, Image> chosen(std::int64_t count) const;

  // What was added goes to a file of an unfinished run, and comes back from there. A file that is missing or of no use
  // leaves this as it is. Throws UserError naming `shownName` when it cannot be written.
  void save(const std::filesystem::path& path, const std::string& shownName) const;
  void load(const std::filesystem::path& path);

 private:
  std::map<std::int64_t, Image> pictures_;
};

}  // namespace kalvetra
