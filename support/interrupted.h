// What ends work that the user has stopped.
#pragma once

#include <exception>
#include <string>

namespace kalvetra {

// Carries a sentence that says what is left of the work.
class Interrupted : public std::exception {
 public:
  explicit Interrupted(std::string sentence = "interrupted; nothing was written") : sentence_(std::move(sentence)) {}
  const char* what() const noexcept override { return sentence_.c_str(); }

 private:
  std::string sentence_;
};

}  // namespace kalvetra
