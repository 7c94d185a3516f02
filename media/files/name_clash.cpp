#include "media/files/name_clash.h"

#include <algorithm>
#include <limits>

#include "media/files/numbered_name.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

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

fs::path folderOf(const fs::path& target) { return target.has_parent_path() ? target.parent_path() : fs::path("."); }

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

std::optional<fs::path> firstTaken(const std::string& target, const std::vector<int>& numbers) {
  const fs::path path(target);
  const NumberedName name(path.filename().string());
  int first = std::numeric_limits<int>::max();
  for (const fs::path& file : filesCoveredBy(path)) {
    const std::optional<int> number = name.numberIn(file.filename().string());
    if (number && std::binary_search(numbers.begin(), numbers.end(), *number)) first = std::min(first, *number);
  }
  if (first == std::numeric_limits<int>::max()) return std::nullopt;
  return path.parent_path() / name.with(std::to_string(first));
}

}  // namespace kalvetra
