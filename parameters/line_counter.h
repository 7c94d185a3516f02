// Lines of a text, counted while a parser reads it.
#pragma once

#include <cstddef>
#include <iterator>

namespace kalvetra {

// Walks over a text that must outlive it. Copies count on the same line.
class LineCounter {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  LineCounter(const char* at, int* line, bool* behindBreak) : at_(at), line_(line), behindBreak_(behindBreak) {}
  const char& operator*() const { return *at_; }
  // The parser looks one character ahead behind a number, so a break counts only when it is left behind.
  LineCounter& operator++() {
    *line_ += *behindBreak_ ? 1 : 0;
    *behindBreak_ = *at_ == '\n';
    ++at_;
    return *this;
  }
  bool operator==(const LineCounter& other) const { return at_ == other.at_; }
  bool operator!=(const LineCounter& other) const { return at_ != other.at_; }

 private:
  const char* at_;
  int* line_;          // that of the character read last
  bool* behindBreak_;  // that character was a line break
};

}  // namespace kalvetra
