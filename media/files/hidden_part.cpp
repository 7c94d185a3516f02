#include "media/files/hidden_part.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <random>

#include "support/folders.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

constexpr std::size_t kSystemDigits = 12, kRandomDigits = 8;
const std::string kDigits = "0123456789abcdef";

std::string beginning(const fs::path& target) { return "." + target.filename().string() + ".part-"; }

// The same in all containers of a running system, and another one after each start; with a dash after it. Empty where
// the system has none.
std::string systemTag() {
  std::string id;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
  std::erase(id, '-');
  id.resize(std::min(id.size(), kSystemDigits));
  const bool isWhole = id.size() == kSystemDigits && id.find_first_not_of(kDigits) == id.npos;
  return isWhole ? id + "-" : std::string();
}

// Network file systems lock only what may be written to; a folder never may.
int openForLock(const fs::path& path) {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  const int file = open(path.c_str(), O_RDWR | kFlags);
  return file < 0 && errno == EISDIR ? open(path.c_str(), O_RDONLY | O_DIRECTORY | kFlags) : file;
}

bool isStillThere(int file, const fs::path& path) {
  struct stat opened {
  }, named{};
  return fstat(file, &opened) == 0 && lstat(path.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
         opened.st_ino == named.st_ino;
}

// The part, locked; -1 and an error number where it cannot be: EWOULDBLOCK while another run has it, or has removed it.
int lockPart(const fs::path& path) {
  const int file = openForLock(path);
  if (file < 0) return -1;
  if (flock(file, LOCK_EX | LOCK_NB) == 0) {
    if (isStillThere(file, path)) return file;
    errno = EWOULDBLOCK;
  }
  const int error = errno;
  close(file);
  errno = error;
  return -1;
}

// False where the name is taken.
bool make(const fs::path& path, HiddenPart::Kind kind) {
  if (kind == HiddenPart::Kind::Folder) return mkdir(path.c_str(), 0777) == 0;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file >= 0) close(file);
  return file >= 0;
}

std::string randomDigits() {
  char text[kRandomDigits + 1];
  std::snprintf(text, sizeof text, "%08x", std::random_device()());
  return text;
}

std::vector<std::string> partsOf(const fs::path& target) {
  const std::string start = beginning(target);
  std::vector<std::string> parts;
  try {
    for (const std::string& name : namesIn(target.parent_path())) {
      const bool isPart = name.starts_with(start) && name.find_first_not_of(kDigits + "-", start.size()) == name.npos;
      if (isPart) parts.push_back(name);
    }
  } catch (const fs::filesystem_error&) {  // some folders take files but cannot be listed
  }
  return parts;
}

}  // namespace

HiddenPart::HiddenPart(const fs::path& target, Kind kind) {
  for (std::string system = systemTag();;) {
    path_ = target.parent_path() / (beginning(target) + system + randomDigits());
    if (!make(path_, kind)) {
      const int error = errno;
      if (error == EEXIST) continue;
      if (error != ENAMETOOLONG || system.empty())
        throw fs::filesystem_error("", target, {error, std::generic_category()});
      system.clear();
      continue;
    }
    if (system.empty()) return;  // such a name proves nothing
    lock_ = lockPart(path_);
    if (lock_ >= 0) return;
    if (errno == EWOULDBLOCK || errno == ENOENT) continue;  // another run has removed it as a leftover
    removeTree(path_);
    system.clear();
  }
}

HiddenPart::~HiddenPart() {
  if (lock_ < 0 || isStillThere(lock_, path_)) removeTree(path_);
  if (lock_ >= 0) close(lock_);
}

std::vector<std::string> removeLeftParts(const fs::path& target) {
  const std::string system = systemTag(), own = beginning(target) + system;
  std::vector<std::string> sentences;
  for (const std::string& name : partsOf(target)) {
    const fs::path part = target.parent_path() / name;
    const bool isOwn = !system.empty() && name.starts_with(own) && name.size() == own.size() + kRandomDigits;
    const int lock = isOwn ? lockPart(part) : -1;
    if (lock >= 0) {
      removeTree(part);
      const bool isGone = !isStillThere(lock, part);
      close(lock);
      sentences.push_back(part.string() + " was left by a run that was killed: " +
                          (isGone ? "removed" : "it cannot be removed; check the folder's permissions"));
    } else if (!isOwn || (errno != EWOULDBLOCK && errno != ENOENT)) {
      sentences.push_back(part.string() + " is of a run that cannot be seen from here; remove it if none is at work");
    }
  }
  return sentences;
}

}  // namespace kalvetra
