// A folder for one test, removed after it.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace kalvetra::test {

class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "kalvetra-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test's files");
    folder_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  bool isEmpty() const { return std::filesystem::is_empty(folder_); }
  // Sorted, hidden ones included.
  std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(folder_))
      all.push_back(entry.path().filename().string());
    std::sort(all.begin(), all.end());
    return all;
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace kalvetra::test
