// What a folder holds.
#pragma once

#include <dirent.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace kalvetra {

// The names in a folder ("" for the current one), in no order, without "." and "..". Throws filesystem_error. The
// standard library's own iterator ends the program where memory fails it (GCC 12): jobs list folders with this.
inline std::vector<std::string> namesIn(const std::filesystem::path& folder) {
  const auto close = [](DIR* open) { closedir(open); };
  const std::unique_ptr<DIR, decltype(close)> open(opendir(folder.empty() ? "." : folder.c_str()), close);
  const auto refuse = [&] {
    throw std::filesystem::filesystem_error("", folder, std::error_code(errno, std::generic_category()));
  };
  if (!open) refuse();
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(open.get());
    if (entry == nullptr) break;
    const std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(name);
  }
  if (errno != 0) refuse();
  return names;
}

}  // namespace kalvetra
