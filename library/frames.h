// A caller's frames and options, checked.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "cpu/cpu_level.h"
#include "engine/frame.h"
#include "kalvetra/kalvetra.h"

namespace kalvetra {

// The caller's frame, called `name` in sentences. Throws a Refusal for what cannot be one.
Frame frameOf(const kalvetra_frame* frame, const char* name);

// Throws a Refusal unless both have one size; `name` is the second's, `other` the first's.
void requireSameSize(const Frame& first, const Frame& second, const char* name, const char* other);

// A copy in host order with straight alpha, packed; floats are rounded.
std::vector<unsigned char> straightArgb(const ConstFrame& frame);

// The caller's options. Throws a Refusal for what cannot be one.
struct CallOptions {
  explicit CallOptions(const kalvetra_options* options);

  int threads = 0;  // 1 or more
  bool fields = false;
  std::int64_t frame = 0;
  int chroma = KALVETRA_CHROMA_FULL;
  std::optional<CpuLevel> cpu;  // the process's where none was named
  const kalvetra_plate* plate = nullptr;
};

}  // namespace kalvetra
