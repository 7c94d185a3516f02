#include "media/frame_sampler.h"

#include "media/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

FrameConverter converterFor(const Reader& reader) {
  return FrameConverter(reader.format().color, {.premultiplied = reader.isPremultiplied()});
}

// Shows pictures of one clip, each in the memory of the one before.
class Sampler {
 public:
  Sampler(const std::string& path, const SourceOptions& source, int threads, const std::atomic<bool>& stop,
          const std::function<void(const Image&)>& see)
      : reader_(path, source, threads, stop), converter_(converterFor(reader_)), see_(see) {}

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

int sampleFrames(const std::string& path, const SourceOptions& source, int count, int threads,
                 const std::atomic<bool>& stop, const std::function<void(const Image&)>& see) {
  if (path == kStandardInput) {
    throw UserError(
        "the standard input can be read only once, so no colour can be found in it; name the backdrop's "
        "colour with --key-color");
  }
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

SourceFrame frameShownAt(Reader& reader, double seconds, const std::atomic<bool>& stop, std::int64_t* number) {
  const double unit = av_q2d(reader.format().timeBase);
  SourceFrame frame;
  for (std::int64_t before = 0; !stop && reader.next(frame); ++before) {
    if (static_cast<double>(frame.time + frame.duration) * unit > seconds) {
      if (number != nullptr) *number = before;
      return frame;
    }
  }
  throw UserError(reader.path() + ": has no picture at " + std::to_string(seconds) + " s; name an earlier time");
}

Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop) {
  Reader reader(path, threads, stop);
  const SourceFrame frame = frameShownAt(reader, seconds, stop);
  return turned(converterFor(reader).convert(*frame.picture), reader.format().quarterTurns());
}

}  // namespace kalvetra
