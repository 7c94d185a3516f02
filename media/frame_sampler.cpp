#include "media/frame_sampler.h"

#include "media/frame_converter.h"
#include "media/reader.h"
#include "support/user_error.h"

namespace kalvetra {

std::vector<Image> sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop) {
  Reader reader(path, threads, stop);
  FrameConverter converter(reader.format().color);
  std::vector<Image> images;
  for (int i = 0; i < count && !stop; ++i) {
    if (reader.expectedFrames() != 1) reader.seek((i + 0.5) / count);  // where that fails, the next picture serves
    SourceFrame frame;
    if (!reader.next(frame)) break;
    images.push_back(converter.convert(*frame.picture));
  }
  return images;
}

Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop) {
  Reader reader(path, threads, stop);
  const double unit = av_q2d(reader.format().timeBase);
  SourceFrame frame;
  while (!stop && reader.next(frame)) {
    if (static_cast<double>(frame.time + frame.duration) * unit > seconds) {
      return FrameConverter(reader.format().color).convert(*frame.picture);
    }
  }
  throw UserError(path + ": has no picture at " + std::to_string(seconds) + " s; name an earlier time");
}

}  // namespace kalvetra
