#include "library/frames.h"

#include <tbb/info.h>
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "deep/render.h"
#include "engine/pixel_formats.h"
#include "library/answer.h"

namespace kalvetra {

namespace {

constexpr int kLongestSide = 65535;
constexpr int kMostThreads = 1024;

std::string sizeText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

[[noreturn]] void refuseFrame(const char* name, const std::string& reason) {
  throw Refusal{KALVETRA_BAD_FRAME, std::string(name) + ": " + reason};
}

[[noreturn]] void refuseOption(const std::string& reason) {
  throw Refusal{KALVETRA_BAD_ARGUMENT, "options: " + reason};
}

PixelFormat formatOf(const kalvetra_frame& frame, const char* name) {
  switch (frame.format) {
    case KALVETRA_ARGB8:
      return PixelFormat::Argb8;
    case KALVETRA_BGRA8:
      return PixelFormat::Bgra8;
    case KALVETRA_RGBA8:
      return PixelFormat::Rgba8;
    case KALVETRA_RGBAF32:
      return PixelFormat::RgbaF32;
    default:
      refuseFrame(name, "there is no format " + std::to_string(frame.format) +
                            "; give KALVETRA_ARGB8, _BGRA8, _RGBA8 or _RGBAF32");
  }
}

void checkStride(const kalvetra_frame& frame, PixelFormat format, const char* name) {
  const std::ptrdiff_t row = std::ptrdiff_t{pixelBytes(format)} * frame.width;
  // Fields double the stride, that of a single row as well.
  const std::ptrdiff_t most = std::numeric_limits<std::ptrdiff_t>::max() / std::max(frame.height, 2);
  if (frame.stride > -row && frame.stride < row) {
    refuseFrame(name, "a stride of " + std::to_string(frame.stride) + " bytes is less than a row's " +
                          std::to_string(row) + "; rows may not overlap");
  }
  if (frame.stride > most || frame.stride < -most) {
    refuseFrame(name, "a stride of " + std::to_string(frame.stride) + " bytes for " + std::to_string(frame.height) +
                          " rows is more than memory has addresses");
  }
}

void checkFloats(const kalvetra_frame& frame, const char* name) {
  constexpr int kFloat = sizeof(float);
  if (reinterpret_cast<std::uintptr_t>(frame.data) % kFloat != 0) {
    refuseFrame(name, "its data is at no multiple of 4 bytes, where floats lie; give it memory of floats");
  }
  if (frame.stride % kFloat != 0) {
    refuseFrame(name, "a stride of " + std::to_string(frame.stride) +
                          " bytes is no multiple of 4, a float's; give one that is");
  }
}

// The caller's structure in the size of this version's; what an older caller does not know is 0.
kalvetra_options knownOptions(const kalvetra_options& given) {
  kalvetra_options known{};
  if (given.size < sizeof given.size)
    refuseOption("size is " + std::to_string(given.size) + "; set it to sizeof(kalvetra_options)");
  const auto* bytes = reinterpret_cast<const unsigned char*>(&given);
  if (given.size > sizeof known &&
      std::any_of(bytes + sizeof known, bytes + given.size, [](unsigned char b) { return b != 0; })) {
    refuseOption("something is set that version " KALVETRA_VERSION " of the library does not know; use a later one");
  }
  std::memcpy(&known, &given, std::min(given.size, sizeof known));
  return known;
}

CpuLevel levelNamed(const char* name) {
  std::string all;
  for (const CpuLevel level : cpuLevels()) {
    if (cpuLevelName(level) == name) return level;
    all += (all.empty() ? "" : ", ") + std::string(cpuLevelName(level));
  }
  refuseOption("this machine has no such CPU level; give one of " + all);
}

}  // namespace

Frame frameOf(const kalvetra_frame* frame, const char* name) {
  const kalvetra_frame& given = required(frame, name);
  if (given.width < 1 || given.height < 1 || given.width > kLongestSide || given.height > kLongestSide) {
    refuseFrame(name, sizeText(given.width, given.height) + " pixels are no size; give 1 to 65535 on each side");
  }
  const PixelFormat format = formatOf(given, name);
  checkStride(given, format, name);
  if (given.data == nullptr) refuseNull((std::string(name) + "'s data").c_str());
  if (format == PixelFormat::RgbaF32) checkFloats(given, name);
  return {static_cast<unsigned char*>(given.data),
          given.stride,
          given.width,
          given.height,
          format,
          given.premultiplied != 0};
}

void requireSameSize(const Frame& first, const Frame& second, const char* name, const char* other) {
  if (first.width == second.width && first.height == second.height) return;
  refuseFrame(name, sizeText(second.width, second.height) + " pixels are not " + other + "'s " +
                        sizeText(first.width, first.height) + "; give frames of one size");
}

std::vector<unsigned char> straightArgb(const ConstFrame& frame) {
  const std::size_t row = std::size_t{kPixelBytes} * static_cast<std::size_t>(frame.width);
  std::vector<unsigned char> argb(row * static_cast<std::size_t>(frame.height));
  if (frame.format == PixelFormat::RgbaF32) {
    toEightBits(frame, packedFrame(argb.data(), frame.width, frame.height));
    if (frame.premultiplied) unpremultiply(argb.data(), argb.size() / kPixelBytes);
  } else {
    for (int y = 0; y < frame.height; ++y) readRow(frame, y, argb.data() + row * static_cast<std::size_t>(y));
  }
  return argb;
}

CallOptions::CallOptions(const kalvetra_options* options) : threads(tbb::info::default_concurrency()) {
  if (options == nullptr) return;
  const kalvetra_options given = knownOptions(*options);
  if (given.threads < 0 || given.threads > kMostThreads) {
    refuseOption(std::to_string(given.threads) + " threads cannot be; give 1 to 1024, or 0 for all");
  }
  // More than the machine has make oneTBB write a warning to standard error.
  if (given.threads > 0) threads = std::min(threads, given.threads);
  if (given.frame < 0) refuseOption("frames are counted from 0, and " + std::to_string(given.frame) + " is none");
  if (given.chroma < KALVETRA_CHROMA_FULL || given.chroma > KALVETRA_CHROMA_QUARTER) {
    refuseOption("there is no chroma sampling " + std::to_string(given.chroma) + "; see enum kalvetra_chroma");
  }
  fields = given.fields != 0;
  frame = given.frame;
  chroma = given.chroma;
  plate = given.plate;
  if (given.cpu != nullptr) cpu = levelNamed(given.cpu);
}

}  // namespace kalvetra
