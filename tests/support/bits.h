// The bits of a number. The standard's bit_cast is not in every library: Emscripten's lacks it.
#pragma once

#include <cstring>

namespace kalvetra::test {

template <class To, class From>
To bitsAs(const From& from) {
  static_assert(sizeof(To) == sizeof(From));
  To to;
  std::memcpy(&to, &from, sizeof to);
  return to;
}

}  // namespace kalvetra::test
