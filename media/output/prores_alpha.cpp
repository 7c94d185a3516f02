#include "media/output/prores_alpha.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

namespace kalvetra {

namespace {

constexpr int kBlock = 16;  // pixels of a macroblock on a side
constexpr std::size_t kPictureHeader = 8, kLargestSlice = 0xFFFF;

using Bytes = std::vector<std::uint8_t>;
using Input = std::span<const std::uint8_t>;

unsigned int word(Input bytes, std::size_t at) { return static_cast<unsigned int>(bytes[at] << 8 | bytes[at + 1]); }

std::size_t longWord(Input bytes, std::size_t at) { return std::size_t{word(bytes, at)} << 16 | word(bytes, at + 2); }

void putLong(Bytes& bytes, std::size_t at, std::size_t value) {
  for (int i = 0; i < 4; ++i)
    bytes[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> (24 - 8 * i));
}

class Bits {
 public:
  explicit Bits(Bytes& out) : out_(out) {}
  // At most 17 bits.
  void put(unsigned int value, int count) {
    held_ = held_ << count | value;
    for (bits_ += count; bits_ >= 8; bits_ -= 8) out_.push_back(static_cast<std::uint8_t>(held_ >> (bits_ - 8)));
  }
  void finish() {
    if (bits_ > 0) put(0, 8 - bits_);
  }

 private:
  Bytes& out_;
  std::uint32_t held_ = 0;
  int bits_ = 0;
};

// Differences from value to value, short where they are small, and how often each is repeated.
void encodeAlpha(std::span<const std::uint16_t> values, Bytes& out) {
  Bits bits(out);
  const auto putDifference = [&bits](unsigned int from, unsigned int to) {
    const auto difference = static_cast<std::int16_t>(static_cast<std::uint16_t>(to - from));
    const int size = difference < 0 ? -difference : difference;
    if (size >= 1 && size <= 64) {
      bits.put(static_cast<unsigned int>((size - 1) << 1 | (difference < 0 ? 1 : 0)), 8);  // a 0 before 7 bits
    } else {
      bits.put(0x10000u | static_cast<std::uint16_t>(difference), 17);
    }
  };
  const auto putRepeats = [&bits](unsigned int count) {  // a slice has 2048 values at most
    if (count == 0) return bits.put(1, 1);
    count < 16 ? bits.put(count, 5) : bits.put(count, 16);
  };
  unsigned int last = 0xFFFF, repeats = 0;
  putDifference(last, values[0]);
  last = values[0];
  for (const unsigned int value : values.subspan(1)) {
    if (value == last) {
      ++repeats;
      continue;
    }
    putRepeats(repeats);
    putDifference(last, value);
    last = value;
    repeats = 0;
  }
  putRepeats(repeats);
  bits.finish();
}

// The rows of alpha that a coded picture shows: all, or those of a field.
struct Rows {
  const std::uint16_t* first;
  std::ptrdiff_t step;  // samples from a row to the next
  int width, height;
  int blockRows;  // of macroblocks: in either field those of the longer one

  // Of a slice's pixels, row by row; pixels outside repeat the border.
  std::vector<std::uint16_t> slice(int x, int y, int columns) const {
    std::vector<std::uint16_t> values;
    for (int dy = 0; dy < kBlock; ++dy) {
      const std::uint16_t* row = first + step * std::min(y + dy, height - 1);
      for (int dx = 0; dx < columns; ++dx) values.push_back(row[std::min(x + dx, width - 1)]);
    }
    return values;
  }
};

// The widths of a row's slices in macroblocks: as many of the wanted size as fit, then halves of it.
std::vector<int> sliceWidths(int blocks, int wanted) {
  std::vector<int> widths;
  for (int size = wanted; blocks > 0; size /= 2) {
    for (; blocks >= size; blocks -= size) widths.push_back(size);
  }
  return widths;
}

// A slice with its colours as they are and another alpha; empty where it makes no sense.
Bytes withAlpha(Input slice, std::span<const std::uint16_t> alpha) {
  if (slice.size() < 8) return {};
  const std::size_t colors = std::size_t{slice[0]} / 8 + word(slice, 2) + word(slice, 4) + word(slice, 6);
  if (colors > slice.size()) return {};
  Bytes out(slice.begin(), slice.begin() + static_cast<std::ptrdiff_t>(colors));
  encodeAlpha(alpha, out);
  return out;
}

// One coded picture that `in` begins with; adds it to `out` and returns its length in `in`, 0 where it makes no sense.
std::size_t addPicture(Input in, const Rows& rows, Bytes& out) {
  if (in.size() < kPictureHeader) return 0;
  const std::size_t header = std::size_t{in[0]} / 8, length = longWord(in, 1), begin = out.size();
  const int wanted = 1 << (in[7] >> 4 & 3);
  const std::vector<int> widths = sliceWidths((rows.width + kBlock - 1) / kBlock, wanted);
  const auto slices = widths.size() * static_cast<std::size_t>(rows.blockRows);
  if (header < kPictureHeader || length > in.size() || header + 2 * slices > length) return 0;
  out.insert(out.end(), in.begin(), in.begin() + static_cast<std::ptrdiff_t>(header + 2 * slices));
  std::size_t at = header + 2 * slices;
  for (std::size_t i = 0; i < slices; ++i) {
    const std::size_t size = word(in, header + 2 * i), column = i % widths.size();
    if (at + size > length) return 0;
    int x = 0;
    for (std::size_t before = 0; before < column; ++before) x += widths[before] * kBlock;
    const int y = static_cast<int>(i / widths.size()) * kBlock;
    const Bytes slice = withAlpha(in.subspan(at, size), rows.slice(x, y, widths[column] * kBlock));
    if (slice.empty() || slice.size() > kLargestSlice) return 0;
    out[begin + header + 2 * i] = static_cast<std::uint8_t>(slice.size() >> 8);
    out[begin + header + 2 * i + 1] = static_cast<std::uint8_t>(slice.size());
    out.insert(out.end(), slice.begin(), slice.end());
    at += size;
  }
  putLong(out, begin + 1, out.size() - begin);
  return length;
}

// Empty where it makes no sense.
Bytes frameWithAlpha(Input in, const std::uint16_t* alpha, int width, int height) {
  constexpr std::size_t kBoxHeader = 8, kLeastHeader = 20;
  if (in.size() < kBoxHeader + kLeastHeader || std::memcmp(in.data() + 4, "icpf", 4) != 0) return {};
  const Input header = in.subspan(kBoxHeader);
  const std::size_t begin = kBoxHeader + word(header, 0);
  const bool fits = static_cast<int>(word(header, 8)) == width && static_cast<int>(word(header, 10)) == height;
  if (!fits || (header[17] & 15) != 2 || begin > in.size()) return {};
  const int mode = header[12] >> 2 & 3;  // 0 progressive, 1 top field first, 2 bottom field first
  Bytes out(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(begin));
  std::size_t at = begin;
  for (int picture = 0; picture < (mode == 0 ? 1 : 2); ++picture) {
    const int field = mode == 2 ? 1 - picture : picture;
    const Rows whole{alpha, width, width, height, (height + kBlock - 1) / kBlock};
    const Rows half{alpha + std::ptrdiff_t{field} * width, 2 * std::ptrdiff_t{width}, width, (height + 1 - field) / 2,
                    (height + 2 * kBlock - 1) / (2 * kBlock)};
    const std::size_t length = addPicture(in.subspan(at), mode == 0 ? whole : half, out);
    if (length == 0) return {};
    at += length;
  }
  putLong(out, 0, out.size());
  return out;
}

}  // namespace

bool replaceProresAlpha(AVPacket& packet, const std::uint16_t* alpha, int width, int height) {
  const Bytes frame = frameWithAlpha({packet.data, static_cast<std::size_t>(packet.size)}, alpha, width, height);
  if (frame.empty()) return false;
  AVBufferRef* buffer = av_buffer_alloc(frame.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  if (buffer == nullptr) throw std::bad_alloc();
  std::copy(frame.begin(), frame.end(), buffer->data);
  std::fill_n(buffer->data + frame.size(), AV_INPUT_BUFFER_PADDING_SIZE, std::uint8_t{0});
  av_buffer_unref(&packet.buf);
  packet.buf = buffer;
  packet.data = buffer->data;
  packet.size = static_cast<int>(frame.size());
  return true;
}

}  // namespace kalvetra
