// The hidden file or folder in which an output grows beside its place.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kalvetra {

// Locked by the system for as long as its run lives, however that ends, and named after the running system: what
// carries our own system's name and can be locked was left by a run that is gone. Another machine's locks may be
// invisible through a shared folder; its parts are known by their names alone.
class HiddenPart {
 public:
  enum class Kind { File, Folder };

  // Makes a part that no other run has, whatever machine it runs on. Throws filesystem_error naming `target`, the
  // output's place.
  HiddenPart(const std::filesystem::path& target, Kind kind);
  // Removes what still lies there.
  ~HiddenPart();
  HiddenPart(const HiddenPart&) = delete;
  HiddenPart& operator=(const HiddenPart&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  int lock_ = -1;  // an open file; none where files cannot be locked
};

// Removes the parts of that output whose run is gone. Returns a sentence for each of them, and for each whose run
// cannot be seen: on another machine, or before the system started.
std::vector<std::string> removeLeftParts(const std::filesystem::path& target);

}  // namespace kalvetra
