#include "media/frame_sampler.h"

#include "media/frame_converter.h"
#include "media/reader.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

ConversionOptions optionsFor(const Reader& reader, ConversionOptions options) {
  options.premultiplied = reader.isPremultiplied();
  return options;
}

// Shows pictures of one clip, each in the memory of the one before.
class Sampler {
 public:
  Sampler(const std::string& path, const SourceOptions& source, const ConversionOptions& conversion, int threads,
          const std::atomic<bool>& stop, const std::function<void(const Image&)>& see)
      : reader_(path, source, threads, stop),
        converter_(reader_.format().color, optionsFor(reader_, conversion)),
        see_(see) {}

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

int sampleFrames(const std::string& path, const SourceOptions& source, const ConversionOptions& conversion, int count,
                 int threads, const std::atomic<bool>& stop, const std::function<void(const Image&)>& see) {
  if (path == kStandardInput) {
    throw UserError(
        "the standard input can be read only once, so no colour can be found in it; name the backdrop's "
        "colour with --key-color");
  }
  int shown = 0;
  {
    Sampler spread(path, source, conversion, threads, stop, see);
    for (int i = 0; i < count && !stop && spread.reader().expectedFrames() != 1; ++i) {
      if (spread.reader().seek((i + 0.5) / count) && spread.showNext()) ++shown;
    }
  }
  if (shown > 0) return shown;
  Sampler first(path, source, conversion, threads, stop, see);  // a still, or a file that cannot be searched
  while (shown < count && !stop && first.showNext()) ++shown;
  return shown;
}

Image frameAt(const std::string& path, const SourceOptions& source, const ConversionOptions& conversion, double seconds,
              int threads, const std::atomic<bool>& stop, std::int64_t* number) {
  Reader reader(path, source, threads, stop);
  const double unit = av_q2d(reader.format().timeBase);
  SourceFrame frame;
  for (std::int64_t before = 0; !stop && reader.next(frame); ++before) {
    if (static_cast<double>(frame.time + frame.duration) * unit > seconds) {
      if (number != nullptr) *number = before;
      const Image image = FrameConverter(reader.format().color, optionsFor(reader, conversion)).convert(*frame.picture);
      return turned(image, reader.format().quarterTurns());
    }
  }
  throw UserError(path + ": has no picture at " + std::to_string(seconds) + " s; name an earlier time");
}

}  // namespace kalvetra
