#include "jobs/frame_sampler.h"

#include "jobs/clip_keying.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Shows pictures of one clip, each in the memory of the one before.
class Sampler {
 public:
  Sampler(const std::string& path, const SourceOptions& source, int threads, const std::atomic<bool>& stop,
          const std::function<void(const Image&)>& see)
      : reader_(path, source, threads, stop), converter_(ClipKeying(reader_, {}).converter()), see_(see) {}

  Reader& reader() { return reader_; }
  // The next picture. False when there is none.
  bool showNext() {
    SourceFrame frame;
    if (!reader_.next(frame)) return false;
    converter_.convert(*frame.picture, image_);
    see_(image_);
    return true;
  }

 private:
  Reader reader_;
  FrameConverter converter_;
  Image image_;
  const std::function<void(const Image&)>& see_;
};

}  // namespace

void refuseStandardInput(const std::string& path) {
  if (path == kStandardInput) {
    throw UserError(
        "the standard input can be read only once, so neither a colour nor settings can be found in it; name the "
        "backdrop's colour with --key-color, without --auto");
  }
}

int sampleFrames(const std::string& path, const SourceOptions& source, int count, int threads,
                 const std::atomic<bool>& stop, const std::function<void(const Image&)>& see) {
  refuseStandardInput(path);
  int shown = 0;
  {
    Sampler spread(path, source, threads, stop, see);
    for (int i = 0; i < count && !stop && spread.reader().expectedFrames() != 1; ++i) {
      if (spread.reader().seek((i + 0.5) / count) && spread.showNext()) ++shown;
    }
  }
  if (shown > 0) return shown;
  Sampler first(path, source, threads, stop, see);  // a still, or a file that cannot be searched
  while (shown < count && !stop && first.showNext()) ++shown;
  return shown;
}

}  // namespace kalvetra
