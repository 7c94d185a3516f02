#include "cli/console.h"

#include <cstdio>
#include <filesystem>

namespace kalvetra {

void note(std::string_view sentence) {
  std::fprintf(stderr, "kalvetra: %.*s\n", static_cast<int>(sentence.size()), sentence.data());
}

void noteAll(const std::vector<std::string>& sentences) {
  for (const std::string& sentence : sentences) note(sentence);
}

std::string sentenceOf(const std::exception& error) {
  const auto* ofFile = dynamic_cast<const std::filesystem::filesystem_error*>(&error);
  if (ofFile == nullptr) return error.what();
  return ofFile->path1().string() + " cannot be used (" + ofFile->code().message() +
         "); check the name and its permissions";
}

std::string counted(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace kalvetra
