// How the interface answers: codes and sentences where the routines below it throw.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kalvetra {

// What a caller of the interface did wrong.
struct Refusal {
  int code;  // of enum kalvetra_code
  std::string sentence;
};

// The code of the exception that is being handled; its sentence becomes the thread's last error.
int answerToException() noexcept;

// What call() answers, or the code of what it throws.
template <class Call>
int answered(const Call& call) noexcept {
  try {
    return call();
  } catch (...) {
    return answerToException();
  }
}

// The thread's last error; "" before the first.
const char* lastError() noexcept;

// Writes as snprintf does. Throws a Refusal for a null pointer with a size above 0.
int writeText(std::string_view text, char* out, std::size_t size);

// Throws a Refusal that says that `name` is missing.
[[noreturn]] void refuseNull(const char* name);

// The object itself, which must be there.
template <class Object>
Object& required(Object* object, const char* name) {
  if (object == nullptr) refuseNull(name);
  return *object;
}

}  // namespace kalvetra
