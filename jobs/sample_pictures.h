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

// What is kept of a picture to compare it: all rows, but of a large deep picture every so many, an odd number, so that
// all rows of a codec's blocks are met; pictures of 4K would take more memory than keying them does.
Image sampleOf(const Image& image);

// How many pictures there will be is not known on the way. Of the powers of two there is always one in the middle
// third.
class SamplePictures {
 public:
  // Samples in the clip's order, as sampleOf gives them. Keeps at most five pictures.
  void add(std::int64_t index, Image image);

  // Samples by index: the first, the middle and the last of a clip of so many pictures.
  std::map<std::int64_t, Image> chosen(std::int64_t count) const;

  // What was added goes to a file of an unfinished run, and comes back from there. A file that is missing or of no use
  // leaves this as it is. Throws UserError naming `shownName` when it cannot be written.
  void save(const std::filesystem::path& path, const std::string& shownName) const;
  void load(const std::filesystem::path& path);

 private:
  std::map<std::int64_t, Image> pictures_;
};

}  // namespace kalvetra
