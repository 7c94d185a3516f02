#include "deep/render.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

#include "deep/backdrop.h"
#include "deep/keyed_pictures.h"
#include "engine/KalvetraFinalCut.h"
#include "engine/bands.h"
#include "engine/clip_levels.h"
#include "engine/frame_memory.h"
#include "engine/pipeline.h"
#include "engine/render_record.h"
#include "engine/working_picture.h"
#include "imaging/memory.h"

namespace kalvetra {

namespace {

using deep::Finish;
using deep::floatsOf;

// The area that both have in common; the input in memory of its own.
class Apart {
 public:
  Apart(const ConstFrame& from, const Frame& to) : input(from), output(to) {
    if (to.format != PixelFormat::RgbaF32) throw std::invalid_argument("the deep lane writes frames of floats alone");
    input.width = output.width = std::min(from.width, to.width);
    input.height = output.height = std::min(from.height, to.height);
    constexpr int kLargestSide = std::numeric_limits<std::uint16_t>::max();  // of a record
    if (std::max(output.width, output.height) > kLargestSide)
      throw std::invalid_argument("a side exceeds 65535 pixels");
    if (empty() || !shareMemory(input, output)) return;
    const std::size_t rowBytes =
        static_cast<std::size_t>(input.width) * static_cast<std::size_t>(pixelBytes(input.format));
    copy_ = uninitialized<unsigned char>(rowBytes * static_cast<std::size_t>(input.height));
    Frame own = packedFrame(copy_.get(), input.width, input.height, input.format);
    own.premultiplied = input.premultiplied;
    for (int y = 0; y < input.height; ++y) std::memcpy(own.row(y), input.row(y), rowBytes);
    input = own;
  }
  bool empty() const { return output.width < 1 || output.height < 1; }

  ConstFrame input;
  Frame output;

 private:
  std::unique_ptr<unsigned char[]> copy_;
};

Finish finishOf(const KeySettings& settings, const Apart& frames) {
  Finish finish{};
  finish.matteView = settings.view == kKalvetraViewMatte;
  finish.blueScreen = keysBlue(settings);
  finish.fromPremultiplied = frames.input.premultiplied;
  finish.premultiplied = frames.output.premultiplied;
  const ClipLevels clip(settings.clipBlack, settings.clipWhite);
  finish.clips = clip.active;
  finish.low = static_cast<float>(clip.low);
  finish.high = static_cast<float>(clip.high);
  return finish;
}

void passFrame(const Finish& finish, const Apart& frames, const Workers* workers) {
  const Bands bands(workers, frames.input.height);
  std::vector<deep::HostRows> rows;
  for (int band = 0; band < bands.count(); ++band) rows.emplace_back(frames.input, finish.blueScreen, 1);
  bands.run([&](int band, int first, int end) {
    for (int y = first; y < end; ++y) {
      deep::passRow(finish, rows[static_cast<std::size_t>(band)].row(y), floatsOf(frames.output, y),
                    static_cast<std::size_t>(frames.input.width));
    }
  });
}

void showSource(Finish finish, Apart& frames, const Workers* workers) {
  finish.blueScreen = finish.clips = false;
  if (frames.input.premultiplied && frames.output.premultiplied) {
    finish.fromPremultiplied = finish.premultiplied = frames.input.premultiplied = false;
  }
  passFrame(finish, frames, workers);
}

// The view of a key that nothing is seen of.
void clear(const Finish& finish, const Frame& output) {
  for (int y = 0; y < output.height; ++y) {
    float* pixel = floatsOf(output, y);
    for (int x = 0; x < output.width; ++x, pixel += 4) {
      std::fill_n(pixel, 3, 0.0f);
      pixel[3] = finish.matteView ? 1.0f : 0.0f;
    }
  }
}

void drawPlate(const KALVETRA_Param& param, bool blueScreen, const KnownPlate* given, const Workers* workers,
               const ConstFrame& input, const Frame& output) {
  const deep::Backdrop backdrop(input, blueScreen, param, given, workers);
  const Bands bands(workers, input.height);
  std::vector<deep::Backdrop::Rows> rows;
  for (int band = 0; band < bands.count(); ++band) rows.emplace_back(backdrop, bands.first(band), 1);
  bands.run([&](int band, int first, int end) {
    for (int y = first; y < end; ++y) {
      deep::storeRow(rows[static_cast<std::size_t>(band)].row(y), blueScreen, floatsOf(output, y),
                     static_cast<std::size_t>(input.width));
    }
  });
}

void fillWithKeyColor(const KALVETRA_Param& param, bool blueScreen, const Frame& output) {
  deep::RowBuffer buffer(output.width, 1);
  const deep::Row row = buffer.row(0);
  std::fill_n(row.red, output.width, static_cast<float>(param.keyColor[0][0]));
  std::fill_n(row.green, output.width, static_cast<float>(param.keyColor[1][0]));
  std::fill_n(row.blue, output.width, static_cast<float>(param.keyColor[2][0]));
  for (int y = 0; y < output.height; ++y) {
    deep::storeRow(row, blueScreen, floatsOf(output, y), static_cast<std::size_t>(output.width));
  }
}

}  // namespace

void renderDeep(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                const RenderOptions& options) {
  Apart frames(input, output);
  if (frames.empty()) return;
  const Finish finish = finishOf(settings, frames);
  if (settings.view == kKalvetraViewSource) return showSource(finish, frames, options.workers);
  if (!keysSomething(settings)) return passFrame(finish, frames, options.workers);
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, frames.input.width, frames.input.height);
  if (!valuesInRange(param)) return clear(finish, frames.output);
  deep::keyPictures(param, finish, frames.input, frames.output, options.scan, givenPlate(options), options.workers);
}

bool renderPlateDeep(const KeySettings& settings, const ConstFrame& input, const Frame& output,
                     const RenderOptions& options) {
  const Apart frames(input, output);
  if (frames.empty()) return false;
  const KALVETRA_Param param = makeRecord(settings, nullptr, nullptr, frames.input.width, frames.input.height);
  const bool blueScreen = keysBlue(settings);
  if (settings.smoothBG == 0 || !keysSomething(settings) || !valuesInRange(param)) {
    fillWithKeyColor(param, blueScreen, frames.output);
    return false;
  }
  const auto draw = [&](const ConstFrame& from, const Frame& to) {
    drawPlate(param, blueScreen, givenPlate(options), options.workers, from, to);
  };
  if (options.scan == Scan::Whole) {
    draw(frames.input, frames.output);
  } else {
    for (int i = 0; i < std::min(2, frames.input.height); ++i) {
      draw(fieldOf(frames.input, i), fieldOf(frames.output, i));
    }
  }
  return true;
}

void toEightBits(const ConstFrame& floats, const Frame& bytes) {
  const int width = std::min(floats.width, bytes.width), height = std::min(floats.height, bytes.height);
  for (int y = 0; y < height && width > 0; ++y) {
    deep::roundRow(reinterpret_cast<const float*>(floats.row(y)), bytes.format, bytes.row(y),
                   static_cast<std::size_t>(width));
  }
}

}  // namespace kalvetra
