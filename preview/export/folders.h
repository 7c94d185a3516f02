// The folders that the user named for presets, backgrounds and exports.
#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "parameters/preset.h"

namespace kalvetra {

// Files are known by their plain names; of two folders with the same name in them the first counts. Only regular files
// are seen: no folders, no devices, and no symbolic links, which may lead elsewhere. Nothing is kept in memory, so that
// files that come and go are seen; safe for several threads.
class Folders {
 public:
  static constexpr std::size_t kMostNames = 1000;                // of a kind
  static constexpr std::uintmax_t kLargestPreset = 1024 * 1024;  // bytes

  // `background` is one more file that may be a background, or empty; neither it nor `clip` is ever written to. Throws
  // UserError for a folder that is none.
  Folders(const std::vector<std::filesystem::path>& folders, std::filesystem::path background,
          std::filesystem::path clip);

  // Sorted names: *.json, and what may serve as a background. Unreadable folders count as empty.
  std::vector<std::string> presets() const;
  std::vector<std::string> pictures() const;
  const std::vector<std::filesystem::path>& all() const { return folders_; }

  // All of these throw UserError: for a name that is none, or that no file has, and when there is no folder.
  std::filesystem::path picture(const std::string& name) const;
  Preset loadPreset(const std::string& name) const;
  // Into the first folder, under that name, with .json added unless it is there; `deep` of settings used at full depth.
  // Returns the full name. Throws Conflict when it exists and is not to be replaced.
  std::string savePreset(const std::string& name, const AnimatedSettings& settings, bool deep, bool replace) const;
  // Throws UserError when a link stands at a place that is to be written to: it may lead elsewhere.
  static void refuseLink(const std::filesystem::path& target);

 private:
  void refuseInputs(const std::filesystem::path& target) const;
  std::vector<std::string> names(bool (*fits)(const std::filesystem::path& name)) const;
  std::filesystem::path find(const std::string& name) const;

  std::vector<std::filesystem::path> folders_;  // absolute
  std::filesystem::path background_, clip_;
  mutable std::mutex saving_;
};

}  // namespace kalvetra
