#include "cli/console.h"

#include <cstdio>

namespace kalvetra {

void note(const std::string& sentence) { std::fprintf(stderr, "kalvetra: %s\n", sentence.c_str()); }

std::string counted(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace kalvetra
