// What is in folders, and how it goes.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace kalvetra {

// The names in a folder ("" for the current one), in no order. Throws filesystem_error.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder.empty() ? "." : folder)) {
    names.push_back(entry.path().filename().string());
  }
  return names;
}

// Removes a file, or a folder with all that it holds; what cannot be removed stays.
inline void removeTree(const std::filesystem::path& path) noexcept {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

}  // namespace kalvetra
