// A folder that only this user can look into, and that goes with this object.
#pragma once

#include <filesystem>

namespace kalvetra {

class PrivateFolder {
 public:
  // In the system's folder for temporary files, under a random name, mode 700. Throws UserError when there is no room.
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  // Removes what is in it, as far as that can be done.
  void clear() const;
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace kalvetra
