#include "media/pixels/yuv_rows.h"

#include <algorithm>
#include <cmath>

#include "media/pixels/chroma_place.h"
#include "media/pixels/samples.h"

namespace kalvetra {

void YuvRows::begin(const AVFrame& frame, bool fields) {
  frame_ = &frame;
  format_ = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  fields_ = fields;
  const auto width = static_cast<std::size_t>(frame.width);
  for (auto* line : {&samples_, &lower_}) line->resize(width);
  y_.resize(width);
  for (auto* line : {&u_, &v_}) line->assign(width + 3, std::ldexp(128.0f, format_->comp[0].depth - 8));
}

void YuvRows::read(int row) {
  readSamples(*frame_, *format_, 0, row, frame_->width, samples_.data());
  std::copy_n(samples_.begin(), frame_->width, y_.begin());
  if (format_->nb_components < 3) return;
  readChroma(1, row, u_);
  readChroma(2, row, v_);
}

void YuvRows::readChroma(int component, int row, std::vector<float>& out) {
  const int columns = AV_CEIL_RSHIFT(frame_->width, format_->log2_chroma_w);
  const int rows = AV_CEIL_RSHIFT(frame_->height, format_->log2_chroma_h);
  const ChromaRow place = chromaRowAt(frame_->chroma_location, format_->log2_chroma_h, rows, row, fields_);
  between_.resize(static_cast<std::size_t>(columns) + 2);
  float* line = between_.data() + 1;
  readSamples(*frame_, *format_, component, place.upper, columns, samples_.data());
  if (place.weight > 0.0f) {
    readSamples(*frame_, *format_, component, place.lower, columns, lower_.data());
    const float lower = place.weight, upper = 1.0f - lower;
    for (int i = 0; i < columns; ++i) {
      const auto at = static_cast<std::size_t>(i);
      line[i] = upper * static_cast<float>(samples_[at]) + lower * static_cast<float>(lower_[at]);
    }
  } else {
    std::copy_n(samples_.begin(), columns, line);
  }
  line[-1] = line[0];
  line[columns] = line[columns - 1];
  spreadColumns(columns, out);
}

// 1, 2 or 4 columns from each of chroma.
void YuvRows::spreadColumns(int columns, std::vector<float>& out) const {
  const float* line = between_.data() + 1;
  const int step = 1 << format_->log2_chroma_w;
  const float first = firstChromaColumn(frame_->chroma_location, format_->log2_chroma_w);
  for (int phase = 0; phase < step; ++phase) {
    const float place = (static_cast<float>(phase) - first) / static_cast<float>(step);
    const bool before = place < 0.0f;
    const float right = before ? place + 1.0f : place, left = 1.0f - right;
    const float* from = before ? line - 1 : line;
    float* to = out.data() + phase;
    for (int i = 0; i < columns; ++i) to[step * i] = left * from[i] + right * from[i + 1];
  }
}

}  // namespace kalvetra
