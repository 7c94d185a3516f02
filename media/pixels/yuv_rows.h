// YUV and grey pictures row by row, with chroma for every pixel.
#pragma once

#include <cstdint>
#include <vector>

#include "media/ffmpeg.h"

namespace kalvetra {

// Holds a few lines, so each thread needs one of its own. Takes what YuvConverter handles.
class YuvRows {
 public:
  // For the rows of this frame, which must outlive their reading. `fields`: its chroma belongs to two fields.
  void begin(const AVFrame& frame, bool fields);
  // Row `row` in stored units, exact: chroma between samples goes in a straight line, grey has neutral chroma.
  void read(int row);

  const float* y() const { return y_.data(); }
  const float* u() const { return u_.data(); }
  const float* v() const { return v_.data(); }

 private:
  void readChroma(int component, int row, std::vector<float>& out);
  void spreadColumns(int columns, std::vector<float>& out) const;

  const AVFrame* frame_ = nullptr;
  const AVPixFmtDescriptor* format_ = nullptr;
  bool fields_ = false;
  std::vector<std::uint16_t> samples_, lower_;
  std::vector<float> y_, u_, v_;
  std::vector<float> between_;  // one row of chroma between rows, a border on each side
};

}  // namespace kalvetra
