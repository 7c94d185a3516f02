#include "engine/render.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

#include "cpu/vectors.h"
#include "engine/KalvetraFinalCut.h"
#include "engine/background_plate.h"
#include "engine/clip_levels.h"
#include "engine/frame_memory.h"
#include "engine/kept_shadows.h"
#include "engine/pipeline.h"
#include "engine/pixel_formats.h"
#include "engine/render_record.h"
#include "engine/streamed_frame.h"
#include "engine/working_picture.h"
#include "imaging/CImagingZEP.h"
#include "imaging/memory.h"
#include "imaging/numeric.h"

namespace kalvetra {

namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

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

class Clip : ClipLevels {
 public:
  using ClipLevels::active, ClipLevels::ClipLevels;
  unsigned char operator()(unsigned char alpha) const {
    return active ? clampToByte(CImagingZEP().LinerInter(int{alpha}, low, high, 0, 255)) : alpha;
  }
};

void clipMatte(unsigned char* result, std::size_t pixels, const Clip& clip) {
  if (!clip.active) return;
  for (std::size_t i = 0; i < pixels; ++i) result[i * 4 + 3] = clip(result[i * 4 + 3]);
}

void writeMatte(const unsigned char* result, unsigned char* host, std::size_t pixels) {
  for (std::size_t i = 0; i < pixels; ++i, result += 4, host += 4) {
    host[0] = 255;
    host[1] = host[2] = host[3] = result[3];
  }
}

// Calls draw(input, output) with both straight and apart in memory: the input as a copy where it is otherwise, the
// output in its own memory, converted afterwards. Both are Argb8 unless `anyFormat` is set. Returns what `draw`
// returns; where that is false, it has written nothing.
template <class Draw>
bool asStraight(ConstFrame input, Frame output, bool anyFormat, Draw draw) {
  input.width = output.width = std::min(input.width, output.width);
  input.height = output.height = std::min(input.height, output.height);
  if (output.width < 1 || output.height < 1) return true;
  const auto drawnAsItIs = [anyFormat](const ConstFrame& frame) {
    return !frame.premultiplied && (anyFormat || frame.format == PixelFormat::Argb8);
  };
  Bytes copy;
  if (!drawnAsItIs(input) || shareMemory(input, output)) {
    copy = uninitialized<unsigned char>(byteCount(input.width, input.height) * kPixelBytes);
    const Frame straight = packedFrame(copy.get(), input.width, input.height);
    for (int y = 0; y < input.height; ++y) readRow(input, y, straight.row(y));
    input = straight;
  }
  if (drawnAsItIs(output)) return draw(input, output);
  Frame straight = output;
  straight.format = PixelFormat::Argb8;
  straight.premultiplied = false;
  if (!draw(input, straight)) return false;
  for (int y = 0; y < output.height; ++y) writeRow(output, y, output.row(y));
  return true;
}

void copyRows(const ConstFrame& input, const Frame& output) {
  const std::size_t bytes = static_cast<std::size_t>(input.width) * kPixelBytes;
  for (int y = 0; y < input.height; ++y) std::memcpy(output.row(y), input.row(y), bytes);
}

// Colours neither divided by alpha nor multiplied by it.
void copyPremultiplied(ConstFrame input, Frame output) {
  input.premultiplied = output.premultiplied = false;
  asStraight(input, output, false, [](const ConstFrame& source, const Frame& result) {
    copyRows(source, result);
    return true;
  });
}

// A whole picture by vectors; false, with nothing written, where it has to be rendered the plain way.
bool streamed(const KeySettings& settings, const ConstFrame& input, const Frame& output, const Clip& clip,
              const RenderOptions& options) {
  MatteFinish finish{settings.view == kKalvetraViewMatte, clip.active, {}};
  for (std::size_t i = 0; i < finish.clipped.size(); ++i) finish.clipped[i] = clip(static_cast<unsigned char>(i));
  if (!keysSomething(settings)) return streamFrame(input, output, {}, finish, options.workers);
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, input.width, input.height);
  return streamFrame(input, output, {&param, givenPlate(options), keysBlue(settings)}, finish, options.workers);
}

// The frame's or the field's shadows into its finished view.
class PlainShadows {
 public:
  PlainShadows(const KeySettings& settings, const ConstFrame& input, const GivenPlate& given, float noise)
      : shadows_(makeRecord(settings, nullptr, nullptr, input.width, input.height), noise,
                 settings.view == kKalvetraViewMatte, PixelFormat::Argb8, keysBlue(settings)),
        input_(input),
        plate_(input) {
    const WorkingPicture working(input);
    drawBackdrop(makeRecord(settings, nullptr, working.data(), input.width, input.height), &given, working.data());
    if (keysBlue(settings)) working.swapBlueAndGreen();
    reverseBytes(working.data(), plate_.data(), plate_.pixels());
  }
  void keep(const Frame& output) const {
    for (int y = 0; y < output.height; ++y)
      shadows_.keep(input_.row(y), plate_.row(y), output.row(y), plate_.rowPixels());
  }

 private:
  KeptShadows shadows_;
  ConstFrame input_;
  WorkingPicture plate_;  // in host order
};

// One for the frame, or one for each field; none where none are kept.
std::vector<PlainShadows> shadowsOf(const KeySettings& settings, const ConstFrame& input, const RenderOptions& options,
                                    const GivenPlate* given) {
  std::vector<PlainShadows> shadows;
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, input.width, input.height);
  if (!keepsShadows(givenPlate(options), param) || !keysSomething(settings) || !valuesInRange(param)) return shadows;
  const int fields = options.scan == Scan::Fields ? std::min(2, input.height) : 1;
  for (int first = 0; first < fields; ++first) {
    const ConstFrame picture = options.scan == Scan::Fields ? fieldOf(input, first) : input;
    shadows.emplace_back(settings, picture, *given, options.plate->noise);
  }
  return shadows;
}

// The plain way: through the pipeline in working order.
void renderPlainly(const KeySettings& settings, const ConstFrame& input, const Frame& output, const Clip& clip,
                   const RenderOptions& options) {
  const WorkingPicture source(input), result(input);
  const bool blue = keysBlue(settings);
  const WorkingPlate plate(options, blue);
  source.read(input, blue);
  if (keysSomething(settings)) {
    KALVETRA_Param param = makeRecord(settings, source.data(), result.data(), input.width, input.height);
    runPipeline(param, {options.scan == Scan::Fields ? 1u : 0u}, plate.given());
  } else {
    std::memcpy(result.data(), source.data(), source.pixels() * kPixelBytes);
  }
  if (blue) result.swapBlueAndGreen();
  for (int y = 0; y < input.height; ++y) limitByAlpha(input.row(y), result.row(y), result.rowPixels());
  clipMatte(result.data(), result.pixels(), clip);
  const std::vector<PlainShadows> shadows = shadowsOf(settings, input, options, plate.given());
  const auto write = settings.view == kKalvetraViewMatte ? writeMatte : reverseBytes;
  for (int y = 0; y < output.height; ++y) write(result.row(y), output.row(y), result.rowPixels());
  for (std::size_t i = 0; i < shadows.size(); ++i) {
    shadows[i].keep(options.scan == Scan::Fields ? fieldOf(output, static_cast<int>(i)) : output);
  }
}

// The key colour, as the pipeline takes it, everywhere.
void fillWithKeyColor(const KALVETRA_Param& param, std::size_t pixels) {
  for (unsigned char* pixel = param.pDst; pixels > 0; --pixels, pixel += kPixelBytes) {
    for (int c = 0; c < 3; ++c) pixel[c] = param.keyColor[2 - c][0];
  }
}

bool drawPlate(const KeySettings& settings, const GivenPlate* given, const ConstFrame& input, const Frame& output) {
  const WorkingPicture source(input), plate(input);
  const KALVETRA_Param param = makeRecord(settings, source.data(), plate.data(), input.width, input.height);
  const bool uneven = settings.smoothBG != 0 && keysSomething(settings) && valuesInRange(param);
  if (uneven) {
    source.read(input, keysBlue(settings));
    drawBackdrop(param, given, plate.data());
  } else {
    fillWithKeyColor(param, plate.pixels());
  }
  if (keysBlue(settings)) plate.swapBlueAndGreen();
  for (std::size_t i = 0; i < plate.pixels(); ++i) plate.data()[i * kPixelBytes + 3] = 255;
  for (int y = 0; y < output.height; ++y) reverseBytes(plate.row(y), output.row(y), plate.rowPixels());
  return uneven;
}

}  // namespace

void render(const KeySettings& settings, const ConstFrame& input, const Frame& output, const RenderOptions& options) {
  const Clip clip(settings.clipBlack, settings.clipWhite);
  const bool keyed = settings.view != kKalvetraViewSource;
  if (!keyed && input.premultiplied && output.premultiplied) return copyPremultiplied(input, output);
  const auto byVectors = [&](const ConstFrame& source, const Frame& result) {
    return streamed(settings, source, result, clip, options);
  };
  const bool vectors = keyed && options.scan == Scan::Whole && simd::enabled();
  if (vectors && asStraight(input, output, true, byVectors)) return;
  asStraight(input, output, false, [&](const ConstFrame& source, const Frame& result) {
    if (keyed) {
      renderPlainly(settings, source, result, clip, options);
    } else {
      copyRows(source, result);
    }
    return true;
  });
}

bool renderPlate(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                 const RenderOptions& options) {
  const WorkingPlate plate(options, keysBlue(settings));
  bool uneven = false;
  asStraight(input, output, false, [&](const ConstFrame& source, const Frame& result) {
    if (options.scan == Scan::Whole) {
      uneven = drawPlate(settings, plate.given(), source, result);
      return true;
    }
    for (int first = 0; first < std::min(2, source.height); ++first) {
      uneven = drawPlate(settings, plate.given(), fieldOf(source, first), fieldOf(result, first));
    }
    return true;
  });
  return uneven;
}

}  // namespace kalvetra
