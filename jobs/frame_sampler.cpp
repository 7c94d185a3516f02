#include "jobs/frame_sampler.h"

#include "jobs/clip_keying.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Shows pictures of one clip, each in the memory of the one before.
class Sampler {
 public:
  Sampler(Reader& clip, const std::function<void(const Image&)>& see)
      : clip_(clip), converter_(ClipKeying(clip, {}).converter()), see_(see) {}

  // The next picture. False when there is none.
  bool showNext() {
    SourceFrame frame;
    if (!clip_.next(frame)) return false;
    converter_.convert(*frame.picture, image_);
    see_(image_);
    return true;
  }

 private:
  Reader& clip_;
  FrameConverter converter_;
  Image image_;
  const std::function<void(const Image&)>& see_;
};

void refuseStandardInput(const std::string& path) {
  if (path == kStandardInput) {
    throw UserError(
        "the standard input can be read only once, so neither a colour nor settings can be found in it; name the "
        "backdrop's colour with --key-color, without --auto");
  }
}

}  // namespace

Reader openForSamples(const std::string& path, const SourceOptions& source, int threads,
                      const std::atomic<bool>& stop) {
  refuseStandardInput(path);
  return Reader(path, source, threads, stop);
}

int sampleFrames(Reader& clip, int count, const std::atomic<bool>& stop, const std::function<void(const Image&)>& see) {
  refuseStandardInput(clip.path());
  Sampler sampler(clip, see);
  int shown = 0;
  for (int i = 0; i < count && !stop && clip.expectedFrames() != 1; ++i) {
    if (clip.seek((i + 0.5) / count) && sampler.showNext()) ++shown;
  }
  if (shown > 0 || stop) return shown;
  clip.rewind();  // it is a still, or cannot be searched
  while (shown < count && !stop && sampler.showNext()) ++shown;
  return shown;
}

}  // namespace kalvetra
