#include "preview/export/folders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <set>

#include "media/files/endings.h"
#include "media/files/name_clash.h"
#include "media/files/numbered_name.h"
#include "media/files/temporary_output.h"
#include "media/files/write_failure.h"
#include "preview/export/plain_name.h"
#include "support/user_error.h"

namespace fs = std::filesystem;

namespace kalvetra {

namespace {

const std::string kPresetExtension = ".json";

bool isPreset(const fs::path& name) { return extensionOf(name) == kPresetExtension; }

bool mayBeBackground(const fs::path& name) { return isPictureName(name) || isVideoName(name); }

bool isPlainFile(const fs::path& path) {
  std::error_code ignored;
  return fs::symlink_status(path, ignored).type() == fs::file_type::regular;
}

// A file that is closed again. Never a link, though one may have taken the file's place meanwhile.
class OpenFile {
 public:
  explicit OpenFile(const fs::path& path) : file_(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)) {}
  ~OpenFile() {
    if (file_ >= 0) close(file_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool isRegular() const {
    struct stat status {};
    return file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode);
  }

  // At most so many bytes; false when reading fails.
  bool read(std::string& text, std::size_t most) const {
    text.resize(most);
    std::size_t size = 0;
    for (ssize_t got = 1; got > 0 && size < most; size += static_cast<std::size_t>(std::max<ssize_t>(got, 0))) {
      got = ::read(file_, text.data() + size, most - size);
      if (got < 0) return false;
    }
    text.resize(size);
    return true;
  }

 private:
  int file_;
};

}  // namespace

Folders::Folders(const std::vector<fs::path>& folders, fs::path background, fs::path clip)
    : background_(std::move(background)), clip_(std::move(clip)) {
  for (const fs::path& folder : folders) {
    std::error_code failed;
    const fs::path whole = fs::canonical(folder, failed);
    if (failed || !fs::is_directory(whole, failed)) {
      throw UserError(folder.string() + " is no folder that can be opened; create it, or name another with --folder");
    }
    folders_.push_back(whole);
  }
}

std::vector<std::string> Folders::names(bool (*fits)(const fs::path& name)) const {
  std::set<std::string> found;
  for (const fs::path& folder : folders_) {
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end; entry.increment(failed)) {
      const std::string name = entry->path().filename().string();
      if (found.size() >= kMostNames) break;
      if (isPlainName(name) && fits(name) && isPlainFile(entry->path())) found.insert(name);
    }
  }
  return {found.begin(), found.end()};
}

std::vector<std::string> Folders::presets() const { return names(isPreset); }

std::vector<std::string> Folders::pictures() const {
  std::vector<std::string> all = names(mayBeBackground);
  const std::string own = background_.filename().string();
  if (!own.empty() && isUtf8(own) && std::find(all.begin(), all.end(), own) == all.end()) all.insert(all.begin(), own);
  return all;
}

fs::path Folders::find(const std::string& name) const {
  checkPlainName(name);
  for (const fs::path& folder : folders_) {
    if (isPlainFile(folder / name)) return folder / name;
  }
  if (folders_.empty()) throw UserError("there is no folder for files; start the preview with --folder DIR");
  throw UserError(name + ": is no file in the preview's folders; choose one of those listed");
}

fs::path Folders::picture(const std::string& name) const {
  if (!background_.empty() && name == background_.filename().string()) return background_;
  const fs::path path = find(name);
  if (!mayBeBackground(name)) throw UserError(name + ": is no picture and no video by its name; choose another file");
  return path;
}

Preset Folders::loadPreset(const std::string& name) const {
  const OpenFile file(find(name));
  if (!isPreset(name)) throw UserError(name + ": is no preset by its name; choose a .json file");
  std::string text;
  if (!file.isRegular() || !file.read(text, kLargestPreset + 1)) {
    throw UserError(name + ": cannot be read; check its permissions");
  }
  if (text.size() > kLargestPreset) throw UserError(name + ": is larger than 1 MiB, which no preset is");
  return parsePreset(text, name);
}

void Folders::refuseLink(const fs::path& target) {
  if (fs::is_symlink(target)) throw UserError(target.filename().string() + ": is a link there; choose another name");
}

// Movies may have any name; and one file several.
void Folders::refuseInputs(const fs::path& target) const {
  for (const auto& [file, what] : {std::pair(clip_, "clip"), std::pair(background_, "background")}) {
    if (file.empty() || !isSameFile(file.string(), target.string())) continue;
    throw UserError(target.filename().string() + ": would overwrite the " + what + "; choose another name");
  }
}

std::string Folders::savePreset(const std::string& name, const AnimatedSettings& settings, bool deep,
                                bool replace) const {
  checkPlainName(name);
  if (folders_.empty()) throw UserError("there is no folder for presets; start the preview with --folder DIR");
  const std::string full = isPreset(name) ? name : name + kPresetExtension;
  if (isNumberedName(full)) throw UserError(full + ": a preset is one file; name it without a %");
  const std::lock_guard lock(saving_);
  const fs::path target = folders_.front() / full;
  if (!replace && fs::exists(fs::symlink_status(target))) {
    throw Conflict(full + " exists already; replace it or give another name");
  }
  refuseLink(target);
  refuseInputs(target);
  TemporaryOutput output(target.string(), replace);
  std::ofstream out(output.path(), std::ios::binary);
  out << presetText(settings, deep) << std::flush;
  if (!out) failWriting(full, "the disk may be full");
  output.commit();
  return full;
}

}  // namespace kalvetra
