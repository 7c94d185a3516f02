// Prints one of the descriptions, for the build.
#include <cstdio>
#include <cstring>

#include "hosts/frei0r/effect_descriptions.h"

int main(int count, char** arguments) {
  const char* what = count == 2 ? arguments[1] : "";
  std::string text;
  if (std::strcmp(what, "kdenlive") == 0) text = kalvetra::kdenliveEffect();
  if (std::strcmp(what, "shotcut-filter") == 0) text = kalvetra::shotcutFilter();
  if (std::strcmp(what, "shotcut-panel") == 0) text = kalvetra::shotcutPanel();
  if (text.empty()) {
    std::fprintf(stderr, "usage: kalvetra-descriptions kdenlive|shotcut-filter|shotcut-panel\n");
    return 2;
  }
  return std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0 ? 1 : 0;
}
