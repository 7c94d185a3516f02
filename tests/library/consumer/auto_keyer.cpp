// Keys one raw RGBA picture with the settings that the library proposes for it: auto_keyer WIDTH HEIGHT <picture >keyed
#include <kalvetra/kalvetra.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const int width = std::atoi(argv[1]), height = std::atoi(argv[2]);
  std::vector<unsigned char> picture(static_cast<std::size_t>(width) * height * 4), keyed(picture.size());
  if (std::fread(picture.data(), 1, picture.size(), stdin) != picture.size()) return 1;
  const auto frameOf = [&](std::vector<unsigned char>& pixels) {
    return kalvetra_frame{pixels.data(), std::ptrdiff_t{4} * width, width, height, KALVETRA_RGBA8, 0};
  };
  const kalvetra_frame input = frameOf(picture), output = frameOf(keyed);
  const std::unique_ptr<kalvetra_settings, void (*)(kalvetra_settings*)> settings(kalvetra_settings_new(),
                                                                                  kalvetra_settings_free);
  if (kalvetra_propose(&input, 1, nullptr, nullptr, settings.get()) < 0 ||
      kalvetra_render(settings.get(), &input, &output, nullptr) < 0) {
    std::fprintf(stderr, "auto_keyer: %s\n", kalvetra_last_error());
    return 1;
  }
  std::fwrite(keyed.data(), 1, keyed.size(), stdout);
}
