// File names with a number in them, as %05d stands for it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kalvetra {

// True for a file name with exactly one %d, %5d or %05d in it.
bool isNumberedName(const std::string& name);

// The file's name without its extension, of a sequence also without its number: "a/shot-%05d.png" is "shot".
std::string clipStem(const std::string& path);

// The name with its pattern replaced by the number.
std::string numberedName(const std::string& name, int number);

// A numbered name, taken apart at its number.
class NumberedName {
 public:
  // The name is a numbered one: isNumberedName().
  explicit NumberedName(const std::string& name);

  std::string with(std::string digits) const;
  // The number in one of the names that `with` gives; nothing for any other name: f-0003.png is none of f-%03d.png.
  std::optional<int> numberIn(const std::string& name) const;
  bool covers(const std::string& name) const;
  // True when some file may have both names, as 10001 with %d and %05d.
  bool mayMeet(const NumberedName& other) const;

 private:
  std::optional<std::string> digitsIn(const std::string& name) const;

  std::string before_, after_;
  std::size_t width_;
  char fill_;
};

// The files in its folder that a path with a numbered name covers, in no order. Throws filesystem_error.
std::vector<std::filesystem::path> filesCoveredBy(const std::filesystem::path& pattern);

}  // namespace kalvetra
