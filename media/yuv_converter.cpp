#include "media/yuv_converter.h"

#include <algorithm>

#include "media/yuv_matrix.h"

namespace kalvetra {

namespace {

// Where the first chroma sample lies: 0 on the first luma sample, 1 half-way to the second, 2 on the second.
int chromaColumn(AVChromaLocation location) {
  return location == AVCHROMA_LOC_CENTER || location == AVCHROMA_LOC_TOP || location == AVCHROMA_LOC_BOTTOM ? 1 : 0;
}

int chromaRow(AVChromaLocation location) {
  switch (location) {
    case AVCHROMA_LOC_TOPLEFT:
    case AVCHROMA_LOC_TOP:
      return 0;
    case AVCHROMA_LOC_BOTTOMLEFT:
    case AVCHROMA_LOC_BOTTOM:
      return 2;
    default:
      return 1;
  }
}

template <class Sample>
const Sample* rowOf(const AVFrame& frame, const AVComponentDescriptor& c, int y) {
  return reinterpret_cast<const Sample*>(frame.data[c.plane] + std::ptrdiff_t{y} * frame.linesize[c.plane]);
}

template <class Sample>
void scaleRow(const Sample* row, int factor, int count, std::int16_t* out) {
  for (int i = 0; i < count; ++i) out[i] = static_cast<std::int16_t>(row[i] * factor);
}

template <class Sample>
void blendRows(const Sample* upper, const Sample* lower, int upperFactor, int lowerFactor, int count,
               std::int16_t* out) {
  for (int i = 0; i < count; ++i) {
    out[i] = static_cast<std::int16_t>(upper[i] * upperFactor + lower[i] * lowerFactor);
  }
}

// Two columns from each of `count` chroma samples, the first of which lies at `column` as above. Reads one sample more
// on each side.
void doubleColumns(const std::int16_t* in, int column, int count, std::int16_t* out) {
  const int left = column, right = 2 - column;
  for (int i = 0; i < count; ++i) {
    out[2 * i] = static_cast<std::int16_t>(in[i - 1] * left + in[i] * (4 - left));
    out[2 * i + 1] = static_cast<std::int16_t>(in[i] * (4 - right) + in[i + 1] * right);
  }
}

}  // namespace

bool YuvConverter::handles(const AVPixFmtDescriptor& format) {
  const std::uint64_t strange = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_FLOAT | AV_PIX_FMT_FLAG_BAYER;
  if ((format.flags & strange) != 0 || format.nb_components < 3) return false;
  if (format.log2_chroma_w > 1 || format.log2_chroma_h > 1) return false;
  const int depth = format.comp[0].depth;
  if (depth < 8 || depth > 10) return false;
  const bool bigEndian = (format.flags & AV_PIX_FMT_FLAG_BE) != 0;
  if (depth > 8 && bigEndian != (AV_NE(1, 0) == 1)) return false;
  const int step = depth > 8 ? 2 : 1;
  return std::all_of(format.comp, format.comp + 3, [depth, step](const AVComponentDescriptor& c) {
    return c.depth == depth && c.shift == 0 && c.step == step;
  });
}

void YuvConverter::convert(const AVFrame& frame, const ColorTags& color, Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  image.resize(frame.width, frame.height);
  if (format.comp[0].depth > 8) {
    convertRows<std::uint16_t>(frame, format, color, image);
  } else {
    convertRows<std::uint8_t>(frame, format, color, image);
  }
}

template <class Sample>
void YuvConverter::convertRows(const AVFrame& frame, const AVPixFmtDescriptor& format, const ColorTags& color,
                               Image& image) {
  const YuvMatrix matrix(lumaWeights(color.matrix).value(), color.range == AVCOL_RANGE_JPEG, format.comp[0].depth);
  const auto width = static_cast<std::size_t>(frame.width);
  y_.resize(width);
  u_.resize(width + 1);  // an odd width has half a chroma sample too many
  v_.resize(width + 1);
  blended_.resize(width + 2);
  for (int y = 0; y < frame.height; ++y) {
    scaleRow(rowOf<Sample>(frame, format.comp[0], y), 16, frame.width, y_.data());
    readChroma<Sample>(frame, format, 1, y, u_);
    readChroma<Sample>(frame, format, 2, y, v_);
    convertYuvRow(matrix, y_.data(), u_.data(), v_.data(), frame.width, image.row(y));
  }
}

template <class Sample>
void YuvConverter::readChroma(const AVFrame& frame, const AVPixFmtDescriptor& format, int component, int y,
                              std::vector<std::int16_t>& out) {
  const AVComponentDescriptor& c = format.comp[component];
  const int width = AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
  const int height = AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
  const auto row = [&](int at) { return rowOf<Sample>(frame, c, std::clamp(at, 0, height - 1)); };
  const bool halvedColumns = format.log2_chroma_w == 1;
  const int unit = halvedColumns ? 1 : 4;  // doubling the columns makes the samples 4 times as large
  std::int16_t* line = halvedColumns ? blended_.data() + 1 : out.data();
  if (format.log2_chroma_h == 1) {
    const int place = 2 * y - chromaRow(frame.chroma_location);  // in quarters of a chroma row
    const int upper = place >> 2, quarters = place & 3;
    blendRows(row(upper), row(upper + 1), (4 - quarters) * unit, quarters * unit, width, line);
  } else {
    scaleRow(row(y), 4 * unit, width, line);
  }
  if (!halvedColumns) return;
  line[-1] = line[0];
  line[width] = line[width - 1];
  doubleColumns(line, chromaColumn(frame.chroma_location), width, out.data());
}

}  // namespace kalvetra
