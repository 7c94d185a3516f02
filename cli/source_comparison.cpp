#include "cli/source_comparison.h"

#include <algorithm>
#include <utility>

#include "jobs/auto_settings.h"
#include "jobs/frame_sampler.h"
#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr std::int64_t kUnknownStride = 25;  // of a clip whose length is not known

std::string sizeText(int width, int height) { return std::to_string(width) + " x " + std::to_string(height); }

}  // namespace

SourceComparison::SourceComparison(const ComparisonChoice& choice, const PictureFormat& keyed, std::int64_t expected,
                                   int threads, const std::atomic<bool>& stop)
    : reader_(openForSamples(choice.source, {}, threads, stop)),
      converter_(ClipKeying(reader_, {}).converter()),
      turns_((reader_.format().quarterTurns() + 4 - keyed.quarterTurns()) % 4),
      stride_(expected > 0 ? std::max<std::int64_t>(expected / kComparedPictures, 1) : kUnknownStride) {
  int width = reader_.format().width, height = reader_.format().height;
  if (turns_ % 2 != 0) std::swap(width, height);
  if (width != keyed.width || height != keyed.height) {
    throw UserError(choice.source + ": its pictures are of " + sizeText(width, height) + ", the keyed ones of " +
                    sizeText(keyed.width, keyed.height) + "; name the source that was keyed");
  }
  if (choice.keyColor) {
    keyColor_ = *choice.keyColor;
  } else {
    const BackdropColor found = findBackdrop(reader_, kSampledFrames, stop).color;
    keyColor_ = found.red << 16 | found.green << 8 | found.blue;
    reader_.rewind();
  }
  KeySettings settings = defaultSettings();
  setValue(settings, *findParameter("key-color"), keyColor_);
  screen_ = choice.screen.value_or(screenForColor(settings));
}

void SourceComparison::add(const Image& keyed) {
  SourceFrame frame;
  if (!reader_.next(frame)) {
    throw UserError(reader_.path() + ": it ends after " + std::to_string(frames_) +
                    " pictures, before the keyed clip does; name the source that was keyed");
  }
  if (frames_++ % stride_ != 0) return;
  converter_.convert(*frame.picture, image_);
  if (turns_ != 0) image_ = turned(image_, turns_);
  report_.add(keyFaults(packedFrame(image_.bytes.data(), image_.width, image_.height),
                        packedFrame(keyed.bytes.data(), keyed.width, keyed.height), keyColor_, screen_),
              frames_);
}

void SourceComparison::end() {
  SourceFrame frame;
  if (!reader_.next(frame)) return;
  throw UserError(reader_.path() + ": it has more pictures than the keyed clip, which has " + std::to_string(frames_) +
                  "; name a source of the part that was keyed: 'kalvetra key SOURCE PART.mkv --view source' with the "
                  "key's --start and --end makes one");
}

}  // namespace kalvetra
