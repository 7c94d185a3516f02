#include "media/files/endings.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

namespace kalvetra {

std::string extensionOf(const std::string& path) {
  if (path == "-") return path;
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

bool isVideoName(const std::string& path) {
  static const std::set<std::string> endings{".mov",  ".mp4", ".m4v", ".mkv",  ".webm", ".avi", ".mxf", ".mts",
                                             ".m2ts", ".ts",  ".mpg", ".mpeg", ".wmv",  ".nut", ".3gp", ".flv"};
  return endings.contains(extensionOf(path));
}

bool isPictureName(const std::string& path) {
  static const std::set<std::string> endings{".jpg",  ".jpeg", ".png", ".tif", ".tiff", ".bmp",
                                             ".webp", ".exr",  ".tga", ".dpx", ".gif"};
  return endings.contains(extensionOf(path));
}

}  // namespace kalvetra
