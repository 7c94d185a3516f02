#include "library/answer.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>

#include "kalvetra/kalvetra.h"

namespace kalvetra {

namespace {

// Of a fixed size: there must be room for a sentence when memory has run out. Longer ones are cut.
thread_local std::array<char, 512> sentenceOfThread{};

int answer(int code, std::string_view sentence) noexcept {
  sentenceOfThread[sentence.copy(sentenceOfThread.data(), sentenceOfThread.size() - 1)] = '\0';
  return code;
}

}  // namespace

const char* lastError() noexcept { return sentenceOfThread.data(); }

int answerToException() noexcept {
  try {
    throw;
  } catch (const Refusal& refusal) {
    return answer(refusal.code, refusal.sentence);
  } catch (const std::bad_alloc&) {
    return answer(KALVETRA_NO_MEMORY, "memory ran out; give smaller frames or fewer of them");
  } catch (const std::exception& error) {
    return answer(KALVETRA_FAILED, error.what());
  } catch (...) {
    return answer(KALVETRA_FAILED, "something failed that has no name");
  }
}

void refuseNull(const char* name) {
  throw Refusal{KALVETRA_BAD_ARGUMENT, std::string(name) + " is a null pointer, and may not be"};
}

int writeText(std::string_view text, char* out, std::size_t size) {
  if (size > 0) {
    if (out == nullptr) refuseNull("text");
    out[text.copy(out, size - 1)] = '\0';
  }
  return static_cast<int>(text.size());
}

}  // namespace kalvetra
