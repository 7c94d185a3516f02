#include "library/lanes.h"

#include <memory>
#include <vector>

#include "deep/render.h"
#include "imaging/memory.h"
#include "library/frames.h"

namespace kalvetra {

namespace {

bool isDeep(const ConstFrame& input, const ConstFrame& output) {
  return input.format == PixelFormat::RgbaF32 || output.format == PixelFormat::RgbaF32;
}

// Calls draw(frame of floats); of that, an output of bytes is a copy.
template <class Draw>
auto drawnDeep(const Frame& output, const Draw& draw) {
  if (output.format == PixelFormat::RgbaF32) return draw(output);
  const std::size_t pixels = static_cast<std::size_t>(output.width) * static_cast<std::size_t>(output.height);
  const std::unique_ptr<float[]> memory = uninitialized<float>(4 * pixels);
  Frame floats =
      packedFrame(reinterpret_cast<unsigned char*>(memory.get()), output.width, output.height, PixelFormat::RgbaF32);
  floats.premultiplied = output.premultiplied;
  const bool answer = draw(floats);
  toEightBits(floats, output);
  return answer;
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
                  const RenderOptions& options) {
  if (!isDeep(input, output)) return render(settings, input, output, ExactOptions(options));
  drawnDeep(output, [&](const Frame& floats) {
    renderDeep(settings, input, floats, options);
    return true;
  });
}

bool renderPlateInLane(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                       const RenderOptions& options) {
  if (!isDeep(input, output)) return renderPlate(settings, input, output, ExactOptions(options));
  return drawnDeep(output, [&](const Frame& floats) { return renderPlateDeep(settings, input, floats, options); });
}

}  // namespace kalvetra
