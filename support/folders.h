// Folders without the standard library's iterators: those of GCC 12 end the program where memory fails them.
#pragma once

#include <dirent.h>
#include <ftw.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

namespace kalvetra {

// The names in a folder ("" for the current one), in no order, without "." and "..". Throws filesystem_error.
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

// Removes a file, or a folder with all that it holds; what cannot be removed stays. Needs no memory that could throw.
inline void removeTree(const std::filesystem::path& path) noexcept {
  const auto removeOne = [](const char* name, const struct stat*, int, FTW*) {
    std::remove(name);
    return 0;
  };
  constexpr int kOpenAtOnce = 8;
  nftw(path.c_str(), removeOne, kOpenAtOnce, FTW_DEPTH | FTW_PHYS);
}

}  // namespace kalvetra
