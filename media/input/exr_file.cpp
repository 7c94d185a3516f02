#include "media/input/exr_file.h"

#include <algorithm>

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace kalvetra {

namespace {

constexpr std::uint32_t kMagic = 20000630, kTiled = 0x200, kDeepOrInParts = 0x1800;
constexpr std::size_t kStart = 8, kOffset = 8, kNone = SIZE_MAX;

// What comes after the text that begins there, and its 0.
std::size_t afterText(std::span<const std::uint8_t> file, std::size_t at) {
  const auto rest = file.subspan(std::min(at, file.size()));
  const auto end = std::find(rest.begin(), rest.end(), 0);
  return end == rest.end() ? kNone : static_cast<std::size_t>(end - rest.begin()) + at + 1;
}

// Attributes are a name, a type, a size and a value; an empty name ends them.
std::size_t endOfHeader(std::span<const std::uint8_t> file) {
  std::size_t at = kStart;
  while (at < file.size() && file[at] != 0) {
    at = afterText(file, afterText(file, at));
    if (at == kNone || at + 4 > file.size()) return kNone;
    at += 4 + std::size_t{AV_RL32(file.data() + at)};
  }
  return at < file.size() ? at + 1 : kNone;
}

}  // namespace

bool isCutOffExr(std::span<const std::uint8_t> file) {
  if (file.size() < kStart || AV_RL32(file.data()) != kMagic) return false;
  const std::uint32_t flags = AV_RL32(file.data() + 4);
  if ((flags & kDeepOrInParts) != 0) return false;
  const std::size_t chunkHead = (flags & kTiled) != 0 ? 20 : 8;  // coordinates and, last, the size of what follows
  std::uint64_t firstChunk = kNone;  // ends the table, as only the picture's size says how long it is
  for (std::size_t at = endOfHeader(file); at < firstChunk; at += kOffset) {
    if (at == kNone || at + kOffset > file.size()) return true;
    const std::uint64_t chunk = AV_RL64(file.data() + at);
    if (chunk < kStart || chunk > file.size() || file.size() - chunk < chunkHead) return true;
    if (AV_RL32(file.data() + chunk + chunkHead - 4) > file.size() - chunk - chunkHead) return true;
    firstChunk = std::min(firstChunk, chunk);
  }
  return false;
}

}  // namespace kalvetra
