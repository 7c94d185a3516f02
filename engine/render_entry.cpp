#include "engine/render_entry.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>

#include "cpu/vectors.h"
#include "engine/KALVETRA_MakeMaskGreenBack32bit.h"
#include "engine/KalvetraFinalCut.h"
#include "engine/background_plate.h"
#include "engine/record_check.h"
#include "engine/render_record.h"
#include "imaging/CImagingZEP.h"
#include "imaging/numeric.h"

namespace kalvetra {

namespace {

constexpr unsigned int kPipelineTag = 30609001;

// The matte never exceeds the host frame's alpha; where that is 0, the frame's colour is restored.
void limitByAlpha(const unsigned char* host, unsigned char* result, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, host += 4, result += 4) {
    if (host[0] == 0) {
      reverseBytes(host, result, 1);
    } else if (result[3] > host[0]) {
      result[3] = host[0];
    }
  }
}

// The clip levels, in percent, that become 0 and 255.
class Clip {
 public:
  Clip(int black, int white)
      : active_(!(black < 0.01 && white > 99.9)),
        low_(roundedToInt(black * 255.0 / 100.0)),
        high_(roundedToInt(white * 255.0 / 100.0)) {
    if (low_ == high_ && low_ < std::numeric_limits<int>::max()) ++low_;
  }
  bool active() const { return active_; }
  unsigned char operator()(unsigned char alpha) const {
    return active_ ? clampToByte(CImagingZEP().LinerInter(int{alpha}, low_, high_, 0, 255)) : alpha;
  }

 private:
  bool active_;
  int low_, high_;
};

void clipMatte(unsigned char* result, std::size_t pixels, const Clip& clip) {
  if (!clip.active()) return;
  for (std::size_t i = 0; i < pixels; ++i) result[i * 4 + 3] = clip(result[i * 4 + 3]);
}

void writeMatte(const unsigned char* result, unsigned char* host, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, result += 4, host += 4) {
    host[0] = 255;
    host[1] = host[2] = host[3] = result[3];
  }
}

const unsigned char* inputRow(const HostFrame& frame, int y) { return frame.input + frame.inputStride * y; }

unsigned char* outputRow(const HostFrame& frame, int y) { return frame.output + frame.outputStride * y; }

void copySource(const HostFrame& frame) {
  const std::size_t bytes = static_cast<std::size_t>(frame.width) * 4;
  for (int y = 0; y < frame.height; ++y) std::memcpy(outputRow(frame, y), inputRow(frame, y), bytes);
}

// A whole picture by vectors; false, with nothing written, where it has to be rendered the plain way.
bool streamed(const HostFrame& frame, const RenderValues& values, const Clip& clip) {
  MatteFinish finish{values.view == kKalvetraViewMatte, clip.active(), {}};
  for (std::size_t i = 0; i < finish.clipped.size(); ++i) finish.clipped[i] = clip(static_cast<unsigned char>(i));
  if (!keysSomething(values)) return streamFrame(frame, nullptr, finish);
  const KALVETRA_Param param = makeRecord(values, nullptr, nullptr, frame.width, frame.height);
  return streamFrame(frame, &param, finish);
}

// The plain way: through the pipeline in working order.
void renderPlainly(const HostFrame& frame, const RenderValues& values, const Clip& clip, Scan scan) {
  const auto rowPixels = static_cast<std::size_t>(frame.width);
  const std::size_t pixels = rowPixels * static_cast<std::size_t>(frame.height);
  const auto source = std::make_unique<unsigned char[]>(pixels * 4);
  const auto result = std::make_unique<unsigned char[]>(pixels * 4);
  const auto workingRow = [&](const auto& image, int y) {
    return image.get() + static_cast<std::size_t>(y) * rowPixels * 4;
  };
  for (int y = 0; y < frame.height; ++y) reverseBytes(inputRow(frame, y), workingRow(source, y), rowPixels);

  if (keysSomething(values)) {
    KALVETRA_Param param = makeRecord(values, source.get(), result.get(), frame.width, frame.height);
    KALVEVIE_Param treatment{scan == Scan::Fields ? 1u : 0u};
    KALVETRA_MakeMaskGreenBack32bit(&param, &treatment, kPipelineTag);
  } else {
    std::memcpy(result.get(), source.get(), pixels * 4);
  }

  for (int y = 0; y < frame.height; ++y) limitByAlpha(inputRow(frame, y), workingRow(result, y), rowPixels);
  clipMatte(result.get(), pixels, clip);
  const auto write = values.view == kKalvetraViewMatte ? writeMatte : reverseBytes;
  for (int y = 0; y < frame.height; ++y) write(workingRow(result, y), outputRow(frame, y), rowPixels);
}

// The key colour, as the pipeline takes it, everywhere.
void fillWithKeyColor(const KALVETRA_Param& param, std::size_t pixels) {
  for (unsigned char* pixel = param.pDst; pixels > 0; --pixels, pixel += 4) {
    for (int c = 0; c < 3; ++c) pixel[c] = param.keyColor[2 - c][0];
  }
}

}  // namespace

void renderView(const HostFrame& frame, const RenderValues& values, Scan scan) {
  if (frame.width < 1 || frame.height < 1) return;
  if (values.view == kKalvetraViewSource) {
    copySource(frame);
    return;
  }
  const Clip clip(values.clipBlack, values.clipWhite);
  if (scan == Scan::Whole && simd::enabled() && streamed(frame, values, clip)) return;
  renderPlainly(frame, values, clip, scan);
}

bool renderPlateOf(const HostFrame& frame, const RenderValues& values) {
  if (frame.width < 1 || frame.height < 1) return false;
  const auto rowPixels = static_cast<std::size_t>(frame.width);
  const std::size_t pixels = rowPixels * static_cast<std::size_t>(frame.height);
  const auto source = std::make_unique<unsigned char[]>(pixels * 4);
  const auto plate = std::make_unique<unsigned char[]>(pixels * 4);
  const KALVETRA_Param param = makeRecord(values, source.get(), plate.get(), frame.width, frame.height);
  const bool estimated = values.smoothBG != 0 && keysSomething(values) && valuesInRange(param);
  if (estimated) {
    for (int y = 0; y < frame.height; ++y) {
      reverseBytes(inputRow(frame, y), source.get() + static_cast<std::size_t>(y) * rowPixels * 4, rowPixels);
    }
    estimatePlate(param, plate.get());
  } else {
    fillWithKeyColor(param, pixels);
  }
  for (std::size_t i = 3; i < pixels * 4; i += 4) plate[i] = 255;
  for (int y = 0; y < frame.height; ++y) {
    reverseBytes(plate.get() + static_cast<std::size_t>(y) * rowPixels * 4, outputRow(frame, y), rowPixels);
  }
  return estimated;
}

}  // namespace kalvetra
