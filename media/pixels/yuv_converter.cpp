#include "media/pixels/yuv_converter.h"

#include <algorithm>
#include <string_view>

#include "media/pixels/chroma_place.h"
#include "media/pixels/samples.h"
#include "media/pixels/yuv_matrix.h"

namespace kalvetra {

namespace {

// In half luma samples: 0 on the first of two, 1 half-way between them, 2 on the second.
int chromaColumn(AVChromaLocation location) { return static_cast<int>(2 * firstChromaColumn(location, 1)); }

int chromaRow(AVChromaLocation location) { return static_cast<int>(2 * firstChromaRow(location, 1)); }

bool isNative(const AVPixFmtDescriptor& format) {
  return ((format.flags & AV_PIX_FMT_FLAG_BE) != 0) == (AV_NE(1, 0) == 1);
}

// True where rows can be read straight from the planes: samples side by side, in the machine's byte order.
bool isPlain(const AVPixFmtDescriptor& format) {
  const int depth = format.comp[0].depth, step = depth > 8 ? 2 : 1;
  if (depth > 8 && !isNative(format)) return false;
  const int colors = format.nb_components < 3 ? 1 : 3;
  return std::all_of(format.comp, format.comp + colors,
                     [step](const AVComponentDescriptor& c) { return c.shift == 0 && c.step == step; });
}

// Rows of a plane as they lie in memory.
template <class Sample>
struct PlaneRows {
  const AVFrame& frame;
  const AVPixFmtDescriptor& format;

  const Sample* operator()(int component, int y, int /*columns*/, std::size_t /*slot*/) const {
    const AVComponentDescriptor& c = format.comp[component];
    return reinterpret_cast<const Sample*>(frame.data[c.plane] + std::ptrdiff_t{y} * frame.linesize[c.plane]);
  }
};

// Rows that have to be gathered first. Two slots, so that two rows can be looked at together.
struct GatheredRows {
  const AVFrame& frame;
  const AVPixFmtDescriptor& format;
  std::array<std::vector<std::uint16_t>, 2>& slots;

  const std::uint16_t* operator()(int component, int y, int columns, std::size_t slot) const {
    slots[slot].resize(static_cast<std::size_t>(frame.width));
    readSamples(frame, format, component, y, columns, slots[slot].data());
    return slots[slot].data();
  }
};

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
  if ((format.flags & strange) != 0 || std::string_view(format.name).starts_with("xyz")) return false;
  const bool packed = format.nb_components >= 3 && format.comp[0].plane == format.comp[1].plane;
  if (format.log2_chroma_w > (packed ? 1 : 2) || format.log2_chroma_h > 2) return false;
  const int depth = format.comp[0].depth, colors = format.nb_components < 3 ? 1 : 3;
  return depth >= 8 && std::all_of(format.comp, format.comp + colors, [depth](const AVComponentDescriptor& c) {
           return c.depth == depth && c.shift + c.depth <= 16;
         });
}

void YuvConverter::convert(const AVFrame& frame, const ColorTags& color, const ConversionOptions& options,
                           Image& image) {
  const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  image.resize(frame.width, frame.height);
  const int depth = format.comp[0].depth;
  const bool coarseChroma = format.log2_chroma_w > 1 || format.log2_chroma_h > 1;
  const bool fields = options.fields && format.log2_chroma_h > 0;
  if (depth > 10 || coarseChroma || fields || (options.dither && depth > 8)) {
    deep_.convert(frame, color, options, image);
  } else if (!isPlain(format)) {
    convertRows(GatheredRows{frame, format, gathered_}, frame, color, image);
  } else if (depth > 8) {
    convertRows(PlaneRows<std::uint16_t>{frame, format}, frame, color, image);
  } else {
    convertRows(PlaneRows<std::uint8_t>{frame, format}, frame, color, image);
  }
}

template <class Rows>
void YuvConverter::convertRows(const Rows& rows, const AVFrame& frame, const ColorTags& color, Image& image) {
  const AVPixFmtDescriptor& format = rows.format;
  const int depth = format.comp[0].depth;
  const YuvMatrix matrix(lumaWeights(color.matrix).value_or(kBt709Weights), color.range == AVCOL_RANGE_JPEG, depth);
  const auto width = static_cast<std::size_t>(frame.width);
  const auto neutral = static_cast<std::int16_t>(128 << (depth - 8) << 4);
  y_.resize(width);
  u_.resize(width + 1, neutral);  // an odd width has half a chroma sample too many
  v_.resize(width + 1, neutral);
  blended_.resize(width + 2);
  for (int y = 0; y < frame.height; ++y) {
    scaleRow(rows(0, y, frame.width, 0), 16, frame.width, y_.data());
    if (format.nb_components >= 3) {
      readChroma(rows, 1, y, u_);
      readChroma(rows, 2, y, v_);
    }
    convertYuvRow(matrix, y_.data(), u_.data(), v_.data(), frame.width, image.row(y));
  }
}

template <class Rows>
void YuvConverter::readChroma(const Rows& rows, int component, int y, std::vector<std::int16_t>& out) {
  const AVFrame& frame = rows.frame;
  const AVPixFmtDescriptor& format = rows.format;
  const int width = AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w);
  const int height = AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h);
  const auto row = [&](int at, std::size_t slot) {
    return rows(component, std::clamp(at, 0, height - 1), width, slot);
  };
  const bool halvedColumns = format.log2_chroma_w == 1;
  const int unit = halvedColumns ? 1 : 4;  // doubling the columns makes the samples 4 times as large
  std::int16_t* line = halvedColumns ? blended_.data() + 1 : out.data();
  if (format.log2_chroma_h == 1) {
    const int place = 2 * y - chromaRow(frame.chroma_location);  // in quarters of a chroma row
    const int upper = place >> 2, quarters = place & 3;
    blendRows(row(upper, 0), row(upper + 1, 1), (4 - quarters) * unit, quarters * unit, width, line);
  } else {
    scaleRow(row(y, 0), 4 * unit, width, line);
  }
  if (!halvedColumns) return;
  line[-1] = line[0];
  line[width] = line[width - 1];
  doubleColumns(line, chromaColumn(frame.chroma_location), width, out.data());
}

}  // namespace kalvetra
