#include "library/lanes.h"

#include <cstring>
#include <memory>
#include <vector>

#include "analysis/matte_views.h"
#include "deep/render.h"
#include "engine/KalvetraFinalCut.h"
#include "imaging/memory.h"
#include "library/frames.h"
#include "parameters/parameter_table.h"
#include "refine/finish.h"

namespace kalvetra {

namespace {

bool isDeep(const KeySettings& settings, const ConstFrame& input, const ConstFrame& output) {
  return input.format == PixelFormat::RgbaF32 || output.format == PixelFormat::RgbaF32 || needsFullDepth(settings);
}

void copyFloats(const Frame& from, const Frame& to) {
  const std::size_t row = sizeof(float[4]) * static_cast<std::size_t>(from.width);
  for (int y = 0; y < from.height; ++y) std::memcpy(to.data + y * to.stride, from.data + y * from.stride, row);
}

// Calls draw(frame of floats in memory of its own), of which the output then is a copy.
template <class Draw>
auto drawnApart(const Frame& output, const Draw& draw) {
  const std::size_t pixels = static_cast<std::size_t>(output.width) * static_cast<std::size_t>(output.height);
  const std::unique_ptr<float[]> memory = uninitialized<float>(4 * pixels);
  Frame floats =
      packedFrame(reinterpret_cast<unsigned char*>(memory.get()), output.width, output.height, PixelFormat::RgbaF32);
  floats.premultiplied = output.premultiplied;
  const bool answer = draw(floats);
  output.format == PixelFormat::RgbaF32 ? copyFloats(floats, output) : toEightBits(floats, output);
  return answer;
}

// Calls draw(frame of floats), which is an output of floats itself.
template <class Draw>
auto drawnDeep(const Frame& output, const Draw& draw) {
  return output.format == PixelFormat::RgbaF32 ? draw(output) : drawnApart(output, draw);
}

// The key and what comes after it, which looks at the source once more: that may lie where the output does.
void renderFinished(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                    const RenderOptions& options, const refine::Materials* materials) {
  KeySettings result = settings;
  result.view = kKalvetraViewResult;
  drawnApart(output, [&](Frame floats) {
    if (settings.view == kKalvetraViewMatte) floats.premultiplied = false;  // it is opaque
    renderDeep(result, input, floats, options);
    refine::finishKey({input, options.plate, result, options.scan}, floats, materials, options.workers);
    if (settings.view == kKalvetraViewMatte) showMatte(floats, floats);
    return true;
  });
}

// Options whose plate is of bytes: the exact lane reads no other.
class ExactOptions {
 public:
  explicit ExactOptions(const RenderOptions& given) : options_(given) {
    if (given.plate == nullptr || given.plate->picture.format != PixelFormat::RgbaF32) return;
    known_ = *given.plate;
    argb_ = straightArgb(known_.picture);
    known_.picture = packedFrame<const unsigned char>(argb_.data(), known_.picture.width, known_.picture.height);
    options_.plate = &known_;
  }
  ExactOptions(const ExactOptions&) = delete;
  ExactOptions& operator=(const ExactOptions&) = delete;
  operator const RenderOptions&() const { return options_; }

 private:
  RenderOptions options_;
  KnownPlate known_{};
  std::vector<unsigned char> argb_;
};

}  // namespace

void renderInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                  const RenderOptions& options, const refine::Materials* materials) {
  const bool isSource = settings.view == kKalvetraViewSource;
  if (needsFullDepth(settings) && !isSource) return renderFinished(settings, input, output, options, materials);
  if (!isDeep(defaultSettings(), input, output)) return render(settings, input, output, ExactOptions(options));
  drawnDeep(output, [&](const Frame& floats) {
    renderDeep(settings, input, floats, options);
    return true;
  });
}

bool renderPlateInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                       const RenderOptions& options) {
  if (!isDeep(settings, input, output)) return renderPlate(settings, input, output, ExactOptions(options));
  return drawnDeep(output, [&](const Frame& floats) { return renderPlateDeep(settings, input, floats, options); });
}

}  // namespace kalvetra
