#include "media/pixels/samples.h"

#include <bit>
#include <cstring>

namespace kalvetra {

namespace {

// Layout of one component: `load` gives the word that holds a sample.
template <class Load>
void readWords(const std::uint8_t* from, const AVComponentDescriptor& c, int count, std::uint16_t* out, Load load) {
  const unsigned int mask = (1u << c.depth) - 1u;
  const auto read = [&, shift = c.shift](std::ptrdiff_t step) {
    for (int i = 0; i < count; ++i) out[i] = static_cast<std::uint16_t>(load(from + step * i) >> shift & mask);
  };
  switch (c.step) {  // known ones make vectors of the loop
    case 1:
      return read(1);
    case 2:
      return read(2);
    default:
      return read(c.step);
  }
}

std::uint16_t nativeWord(const std::uint8_t* from) {
  std::uint16_t word;
  std::memcpy(&word, from, sizeof word);
  return word;
}

std::uint16_t swappedWord(const std::uint8_t* from) {
  const unsigned int word = nativeWord(from);
  return static_cast<std::uint16_t>(word << 8 | word >> 8);
}

}  // namespace

bool isReadExactly(const AVPixFmtDescriptor& format) {
  const bool strange = (format.flags & (AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER)) != 0;
  return (format.flags & AV_PIX_FMT_FLAG_RGB) != 0 && !strange &&
         format.comp[0].depth + format.comp[1].depth + format.comp[2].depth > 8;
}

void readSamples(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y, int count,
                 std::uint16_t* out) {
  const AVComponentDescriptor& c = format.comp[component];
  const bool bigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
  if ((format.flags & AV_PIX_FMT_FLAG_BITSTREAM) != 0 || c.shift + c.depth > 16) {
    const std::uint8_t* data[4] = {frame.data[0], frame.data[1], frame.data[2], frame.data[3]};
    av_read_image_line2(out, data, frame.linesize, &format, 0, y, component, count, 0, 2);
    return;
  }
  const std::uint8_t* from = frame.data[c.plane] + std::ptrdiff_t{y} * frame.linesize[c.plane] + c.offset;
  if (c.shift + c.depth <= 8) {
    if (bigEndian) ++from;  // the low byte of a word
    readWords(from, c, count, out, [](const std::uint8_t* p) { return unsigned{*p}; });
  } else if (bigEndian == (std::endian::native == std::endian::big)) {
    readWords(from, c, count, out, [](const std::uint8_t* p) { return unsigned{nativeWord(p)}; });
  } else {
    readWords(from, c, count, out, [](const std::uint8_t* p) { return unsigned{swappedWord(p)}; });
  }
}

}  // namespace kalvetra
