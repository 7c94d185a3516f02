// What the tests of the shared library call it with.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kalvetra/kalvetra.h"
#include "tests/support/look.h"

namespace kalvetra::test {

struct Free {
  void operator()(kalvetra_settings* settings) const { kalvetra_settings_free(settings); }
};
using Settings = std::unique_ptr<kalvetra_settings, Free>;

inline Settings keyingGreen() {
  Settings settings(kalvetra_settings_new());
  EXPECT_EQ(KALVETRA_OK, kalvetra_settings_set(settings.get(), "key-color", "#289646"));
  return settings;
}

struct FreePlate {
  void operator()(kalvetra_plate* plate) const { kalvetra_plate_free(plate); }
};
using PlateObject = std::unique_ptr<kalvetra_plate, FreePlate>;

inline std::string valueOf(const Settings& settings, const char* slug, std::int64_t frame = 0) {
  char text[64];
  EXPECT_LT(0, kalvetra_settings_get(settings.get(), slug, frame, text, sizeof text)) << kalvetra_last_error();
  return text;
}

inline kalvetra_frame packed(Bytes& bytes, int width, int height, int format = KALVETRA_ARGB8) {
  return {bytes.data(), 4 * std::ptrdiff_t{width}, width, height, format, 0};
}

inline kalvetra_options withThreads(int threads, const char* cpu = nullptr) {
  kalvetra_options options{};
  options.size = sizeof options;
  options.threads = threads;
  options.cpu = cpu;
  return options;
}

// A green screen with a foreground, its alpha falling from left to right.
inline Bytes picture(int width, int height) {
  Bytes bytes = greenScreen(width, height, 3);
  for (std::size_t i = 0; i < bytes.size(); i += 4) {
    bytes[i] = static_cast<unsigned char>(255 - 200 * (static_cast<int>(i / 4) % width) / width);
  }
  return bytes;
}

inline Bytes rendered(const Settings& settings, Bytes argb, int width, int height, const kalvetra_options& options) {
  Bytes keyed(argb.size());
  const kalvetra_frame input = packed(argb, width, height), output = packed(keyed, width, height);
  EXPECT_EQ(KALVETRA_OK, kalvetra_render(settings.get(), &input, &output, &options)) << kalvetra_last_error();
  return keyed;
}

}  // namespace kalvetra::test
