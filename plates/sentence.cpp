#include "plates/sentence.h"

#include <cstdarg>
#include <cstdio>

namespace kalvetra::plates {

std::string sentence(const char* format, ...) {
  char text[301];
  va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return text;
}

}  // namespace kalvetra::plates
