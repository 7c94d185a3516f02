#include "cli/source_comparison.h"

#include <algorithm>

#include "jobs/auto_settings.h"
#include "jobs/frame_sampler.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::int64_t kUnknownStride = 25;  // of a clip whose length is not known

std::string sizeText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

}  // namespace

SourceComparison::SourceComparison(const ComparisonChoice& choice, int width, int height, std::int64_t expected,
                                   int threads, const std::atomic<bool>& stop)
    : reader_(openForSamples(choice.source, {}, threads, stop)),
      converter_(ClipKeying(reader_, {}).converter()),
      stride_(expected > 0 ? std::max<std::int64_t>(expected / kComparedPictures, 1) : kUnknownStride) {
  const PictureFormat& format = reader_.format();
  if (format.width != width || format.height != height) {
    throw UserError(choice.source + ": its pictures are of " + sizeText(format.width, format.height) +
                    ", the keyed ones of " + sizeText(width, height) + "; name the source that was keyed");
  }
  if (choice.keyColor) {
    keyColor_ = *choice.keyColor;
    screen_ = (keyColor_ & 255) > (keyColor_ >> 8 & 255) ? 1 : 0;
  } else {
    const BackdropColor found = findBackdrop(reader_, kSampledFrames, stop).color;
    keyColor_ = found.red << 16 | found.green << 8 | found.blue;
    screen_ = found.screen;
    reader_.rewind();
  }
  screen_ = choice.screen.value_or(screen_);
}

void SourceComparison::add(const Image& keyed) {
  SourceFrame frame;
  if (!reader_.next(frame)) {
    throw UserError(reader_.path() + ": it ends after " + std::to_string(frames_) +
                    " pictures, before the keyed clip does; name the source that was keyed");
  }
  if (frames_++ % stride_ != 0) return;
  converter_.convert(*frame.picture, image_);
  report_.add(keyFaults(packedFrame(image_.argb.data(), image_.width, image_.height),
                        packedFrame(keyed.argb.data(), keyed.width, keyed.height), keyColor_, screen_),
              frames_);
}

}  // namespace kalvetra
