#include "media/temporary_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <set>
#include <vector>

#include "media/numbered_name.h"
#include "support/folders.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

constexpr int kMostLinks = 40;  // in a row, as the system has it

fs::path folderOf(const fs::path& target) { return target.has_parent_path() ? target.parent_path() : fs::path("."); }

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

// True when `target`, a file or a numbered name, stands for the file or numbered name `path` too.
bool standsFor(const fs::path& target, const fs::path& path) {
  std::error_code ignored;
  if (fs::equivalent(target, path, ignored) || fs::weakly_canonical(target) == fs::weakly_canonical(path)) return true;
  const std::string name = target.filename().string(), other = path.filename().string();
  if (!isNumberedName(name) || !fs::equivalent(folderOf(target), folderOf(path), ignored)) return false;
  if (isNumberedName(other)) return NumberedName(name).mayMeet(NumberedName(other));
  return NumberedName(name).covers(other);
}

// True when a file is there that two numbered names cover.
bool sharesFile(const fs::path& a, const fs::path& b) {
  std::error_code ignored;
  if (!fs::equivalent(folderOf(a), folderOf(b), ignored)) return false;
  const std::vector<fs::path> files = filesCoveredBy(a);
  const NumberedName other(b.filename().string());
  return a.filename() == b.filename() || std::any_of(files.begin(), files.end(), [&](const fs::path& file) {
           return other.covers(file.filename().string());
         });
}

}  // namespace

bool isSameFile(const std::string& a, const std::string& b) { return standsFor(a, b) || standsFor(b, a); }

void refuseOverwritingInput(const std::string& input, const std::string& output) {
  const bool sequences =
      isNumberedName(fs::path(input).filename().string()) && isNumberedName(fs::path(output).filename().string());
  if (sequences ? sharesFile(input, output) : isSameFile(input, output)) {
    throw UserError(output + " would overwrite the input; name another output");
  }
}

bool outputExists(const std::string& target) {
  const fs::path path(target);
  if (!isNumberedName(path.filename().string())) return fs::exists(path);
  return fs::is_directory(folderOf(path)) && !filesCoveredBy(path).empty();
}

TemporaryOutput::TemporaryOutput(const std::string& target, bool replace, Unfinished unfinished)
    : target_(target),
      replace_(replace),
      unfinished_(unfinished),
      isSequence_(isNumberedName(target_.filename().string())) {
  if (isStandardOutput()) {
    temporary_ = kStandardOutputAddress;
    return;
  }
  checkTarget();
  checkFolder(target_);
  if (!replace && outputExists(target)) {
    throw UserError(target + " exists already; give -y to replace it, or another name");
  }
  const std::string hidden = "." + target_.filename().string();
  if (unfinished == Unfinished::Kept) {
    temporary_ = folderOf(target_) / (hidden + ".unfinished");
    fs::create_directory(temporary_);
  } else {
    claim(hidden);
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

// Makes a hidden place that no other run has, whatever machine it runs on.
void TemporaryOutput::claim(const std::string& hidden) {
  for (std::random_device random;;) {
    char suffix[16];
    std::snprintf(suffix, sizeof suffix, ".part-%08x", random());
    temporary_ = folderOf(target_) / (hidden + suffix);
    if (isSequence_) {
      if (fs::create_directory(temporary_)) return;
    } else {
      const int file = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (file >= 0) {
        close(file);
        return;
      }
      if (errno != EEXIST) throw fs::filesystem_error("", target_, {errno, std::generic_category()});
    }
  }
}

TemporaryOutput::~TemporaryOutput() {
  if (isStandardOutput()) return;
  std::error_code ignored;
  if (unfinished_ == Unfinished::Kept) {
    fs::remove(temporary_, ignored);  // goes only while it is empty
  } else {
    removeTree(temporary_);
  }
}

std::string TemporaryOutput::path() const {
  const bool inFolder = unfinished_ == Unfinished::Kept && !isStandardOutput();
  return (inFolder ? temporary_ / target_.filename() : temporary_).string();
}

std::string TemporaryOutput::path(int number) const {
  return (temporary_ / numberedName(target_.filename().string(), number)).string();
}

std::string TemporaryOutput::sequencePath() const { return (temporary_ / target_.filename()).string(); }

void TemporaryOutput::prepare() {
  if (isStandardOutput()) return;
  checkFolder(target_);
  if (!replace_ && outputExists(target_.string())) {
    throw UserError(target_.string() + " has appeared meanwhile; give -y to replace it, or another name");
  }
  try {
    listMoves();
  } catch (const fs::filesystem_error& error) {
    throw UserError(target_.string() + " cannot be put in its place (" + error.code().message() + ")");
  }
}

// What another program has put there since prepare().
void TemporaryOutput::refuseTakenPlaces() const {
  if (replace_) return;
  for (const auto& [from, to] : moves_) {
    if (fs::exists(to))
      throw UserError(to.string() + " has appeared meanwhile; give -y to replace it, or another name");
  }
}

void TemporaryOutput::listMoves() {
  moves_.clear();
  replaced_.clear();
  if (!isSequence_) {
    moves_.push_back({path(), target_});
    return;
  }
  std::set<fs::path> placed;
  for (const fs::path& picture : filesCoveredBy(temporary_ / target_.filename())) {
    moves_.push_back({picture, folderOf(target_) / picture.filename()});
    placed.insert(picture.filename());
  }
  for (const fs::path& old : filesCoveredBy(target_)) {
    if (!placed.contains(old.filename())) replaced_.push_back(old);
  }
}

void TemporaryOutput::commit() {
  if (isStandardOutput()) return;
  if (moves_.empty()) prepare();
  refuseTakenPlaces();
  try {
    // The old pictures go last: whatever happens on the way, either they or the new ones are there.
    for (const auto& [from, to] : moves_) fs::rename(from, to);
    for (const fs::path& old : replaced_) fs::remove(old);
    if (unfinished_ == Unfinished::Kept) removeTree(temporary_);
  } catch (const fs::filesystem_error& error) {
    throw UserError(target_.string() + " cannot be put in its place (" + error.code().message() + ")");
  }
}

}  // namespace kalvetra
