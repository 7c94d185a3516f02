#include "cli/batch.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "media/files/endings.h"
#include "media/files/numbered_name.h"
#include "support/user_error.h"

namespace kalvetra {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> videosIn(const std::string& folder) {
  std::vector<std::string> videos;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string path = entry.path().string();
    const bool hidden = entry.path().filename().string().starts_with('.');
    if (entry.is_regular_file() && !hidden && isVideoName(path)) videos.push_back(path);
  }
  if (videos.empty()) throw UserError(folder + ": is a folder without a video in it; name a file or a sequence");
  std::sort(videos.begin(), videos.end());
  return videos;
}

// The videos of a folder without those that are outputs of the others.
std::vector<std::string> sourcesIn(const std::string& folder, const std::string& pattern) {
  const std::vector<std::string> videos = videosIn(folder);
  if (pattern.empty()) return videos;
  std::set<fs::path> outputs;
  for (const std::string& video : videos) outputs.insert(fs::weakly_canonical(nameFor(pattern, video)));
  std::vector<std::string> sources;
  for (const std::string& video : videos) {
    if (!outputs.contains(fs::weakly_canonical(video))) sources.push_back(video);
  }
  return sources.empty() ? videos : sources;
}

}  // namespace

std::vector<std::string> expandInputs(const std::vector<std::string>& inputs, const std::string& donePattern) {
  std::vector<std::string> clips;
  std::error_code ignored;
  for (const std::string& input : inputs) {
    const std::vector<std::string> found =
        fs::is_directory(input, ignored) ? sourcesIn(input, donePattern) : std::vector<std::string>{input};
    clips.insert(clips.end(), found.begin(), found.end());
  }
  return clips;
}

bool hasPlaceholder(const std::string& pattern) { return pattern.find(kNamePlaceholder) != std::string::npos; }

std::string nameFor(const std::string& pattern, const std::string& input) {
  std::string name = pattern;
  const std::string stem = input == "-" ? "stdin" : clipStem(input), placeholder = kNamePlaceholder;
  for (std::size_t at = 0; (at = name.find(placeholder, at)) != std::string::npos; at += stem.size()) {
    name.replace(at, placeholder.size(), stem);
  }
  return name;
}

}  // namespace kalvetra
