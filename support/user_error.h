// The one exception type above the engine.
#pragma once

#include <stdexcept>
#include <string>

namespace kalvetra {

// Carries one sentence for the user: what is wrong, where, and what to do about it.
class UserError : public std::runtime_error {
 public:
  explicit UserError(const std::string& sentence) : std::runtime_error(sentence) {}
};

}  // namespace kalvetra
