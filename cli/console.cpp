#include "cli/console.h"

#include <cstdio>
#include <filesystem>

#include "support/shown_text.h"

namespace kalvetra {

namespace {

// One line of stderr, in as few writes as a buffer of fixed size allows.
class Line {
 public:
  void add(std::string_view piece) {
    if (size_ + piece.size() > sizeof text_) flush();
    size_ += piece.copy(text_ + size_, sizeof text_ - size_);
  }
  void flush() {
    std::fwrite(text_, 1, size_, stderr);
    size_ = 0;
  }

 private:
  char text_[2048];
  std::size_t size_ = 0;
};

}  // namespace

void note(std::string_view sentence) {
  Line line;
  line.add("kalvetra: ");
  putShown(sentence, [&line](std::string_view piece) { line.add(piece); });
  line.add("\n");
  line.flush();
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

}  // namespace kalvetra
