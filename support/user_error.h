// What is thrown above the engine.
#pragma once

#include <stdexcept>
#include <string>

namespace kalvetra {

// Carries one sentence for the user: what is wrong, where, and what to do about it.
class UserError : public std::runtime_error {
 public:
  explicit UserError(const std::string& sentence) : std::runtime_error(sentence) {}
};

// What was asked for is not there.
class NotFound : public UserError {
 public:
  using UserError::UserError;
};

// Something else stands in the way: work that is under way, a newer request, a file of that name.
class Conflict : public UserError {
 public:
  using UserError::UserError;
};

}  // namespace kalvetra
