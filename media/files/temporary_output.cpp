#include "media/files/temporary_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "support/folders.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

constexpr int kMostLinks = 40;  // in a row, as the system has it
constexpr const char *kExists = " exists already", *kHasAppeared = " has appeared meanwhile";

void checkFolder(const fs::path& target) {
  const fs::path folder = folderOf(target);
  if (!fs::exists(folder))
    throw UserError("the folder " + folder.string() + " does not exist; create it or choose another");
  if (!fs::is_directory(folder))
    throw UserError(folder.string() + " is not a folder; choose another place for the output");
  if (access(folder.c_str(), W_OK) != 0) {
    throw UserError("the folder " + folder.string() + " cannot be written to (" + std::strerror(errno) +
                    "); choose another or change its permissions");
  }
}

[[noreturn]] void failPlacing(const fs::path& target, const std::error_code& error) {
  throw UserError(target.string() + " cannot be put in its place (" + error.message() + ")");
}

// Both return an error number, 0 for success.
int replaceFile(const char* from, const char* to) { return std::rename(from, to) == 0 ? 0 : errno; }

// EEXIST where anything has the name, even if it has appeared only now.
int moveToFreeName(const char* from, const char* to) {
#ifdef RENAME_NOREPLACE
  if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) return 0;
  if (errno == EEXIST) return errno;
#endif
  // Not every file system has that; most others have links, and all can make an empty file.
  if (link(from, to) == 0) {
    unlink(from);
    return 0;
  }
  if (errno == EEXIST) return errno;
  const int claim = open(to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (claim < 0) return errno;
  close(claim);
  const int error = replaceFile(from, to);
  if (error != 0) unlink(to);
  return error;
}

}  // namespace

TemporaryOutput::TemporaryOutput(const std::string& target, bool replace, Unfinished unfinished)
    : target_(target), isSequence_(isNumberedName(target_.filename().string())), replace_(replace) {
  if (isStandardOutput()) {
    path_ = kStandardOutputAddress;
    return;
  }
  checkTarget();
  checkFolder(target_);
  if (!replace && !isSequence_ && outputExists(target)) refuse(target, kExists);
  leftParts_ = removeLeftParts(target_);
  if (unfinished == Unfinished::Kept) {
    workFolder_ = folderOf(target_) / ("." + target_.filename().string() + ".unfinished");
    fs::create_directory(workFolder_);
    path_ = workFolder_ / target_.filename();
  } else if (isSequence_) {
    path_ = part_.emplace(target_, HiddenPart::Kind::Folder).path() / target_.filename();
  } else {
    path_ = part_.emplace(target_, HiddenPart::Kind::File).path();
  }
}

// A link stands for what it leads to. Devices, pipes and folders cannot be replaced.
void TemporaryOutput::checkTarget() {
  const std::string shown = target_.string();
  for (int links = 0; !isSequence_ && fs::is_symlink(target_) && links < kMostLinks; ++links) {
    target_ = folderOf(target_) / fs::read_symlink(target_);  // an absolute one replaces the folder
  }
  if (fs::is_directory(target_)) throw UserError(shown + " is a folder; name a file in it");
  if (fs::exists(target_) && !fs::is_regular_file(target_)) {
    throw UserError(shown + " is no file that can be replaced; give - to write into a pipe");
  }
}

TemporaryOutput::~TemporaryOutput() {
  std::error_code ignored;
  if (!workFolder_.empty()) fs::remove(workFolder_, ignored);  // goes only while it is empty
}

std::string TemporaryOutput::path(int number) const {
  return isSequence_ ? (path_.parent_path() / numberedName(path_.filename().string(), number)).string() : path();
}

void TemporaryOutput::refuse(const fs::path& place, const std::string& why) const {
  throw UserError(place.string() + why + "; give -y to replace it, or another name");
}

void TemporaryOutput::refuseTaken(int number) const {
  if (replace_ || !isSequence_) return;
  const fs::path place = target_.parent_path() / numberedName(target_.filename().string(), number);
  if (fs::exists(place)) refuse(place, kExists);
}

void TemporaryOutput::refuseTaken(const std::vector<int>& numbers) const {
  if (replace_ || !isSequence_) return;
  if (const std::optional<fs::path> place = firstTaken(target_.string(), numbers)) refuse(*place, kExists);
}

void TemporaryOutput::prepare() {
  if (isStandardOutput()) return;
  checkFolder(target_);
  try {
    listMoves();
  } catch (const fs::filesystem_error& error) {
    failPlacing(target_, error.code());
  }
  for (const auto& [from, to] : moves_) {
    if (!replace_ && fs::exists(to)) refuse(to, kHasAppeared);
  }
}

void TemporaryOutput::listMoves() {
  moves_.clear();
  if (!isSequence_) {
    moves_.push_back({path_, target_});
    return;
  }
  for (const fs::path& picture : filesCoveredBy(path_)) {
    moves_.push_back({picture, folderOf(target_) / picture.filename()});
  }
  std::sort(moves_.begin(), moves_.end());
}

void TemporaryOutput::moveAll() const {
  for (std::size_t i = 0; i < moves_.size(); ++i) {
    const auto& [from, to] = moves_[i];
    const int error = replace_ ? replaceFile(from.c_str(), to.c_str()) : moveToFreeName(from.c_str(), to.c_str());
    if (error == 0) continue;
    if (!replace_) moveBack(i);
    if (error == EEXIST) refuse(to, kHasAppeared);
    failPlacing(target_, {error, std::generic_category()});
  }
}

// The first pictures from their places.
void TemporaryOutput::moveBack(std::size_t count) const {
  for (std::size_t i = 0; i < count; ++i) std::rename(moves_[i].second.c_str(), moves_[i].first.c_str());
}

void TemporaryOutput::commit() {
  if (moves_.empty()) prepare();
  moveAll();
  if (!workFolder_.empty()) removeTree(workFolder_);
}

}  // namespace kalvetra
