#include "media/frame_sampler.h"

#include "media/frame_converter.h"
#include "media/reader.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// The next picture of `reader`, appended to `images`. False when there is none.
bool appendNext(Reader& reader, FrameConverter& converter, std::vector<Image>& images) {
  SourceFrame frame;
  if (!reader.next(frame)) return false;
  images.push_back(converter.convert(*frame.picture));
  return true;
}

}  // namespace

std::vector<Image> sampleFrames(const std::string& path, int count, int threads, const std::atomic<bool>& stop) {
  std::vector<Image> images;
  {
    Reader reader(path, threads, stop);
    FrameConverter converter(reader.format().color);
    for (int i = 0; i < count && !stop && reader.expectedFrames() != 1; ++i) {
      if (reader.seek((i + 0.5) / count)) appendNext(reader, converter, images);
    }
  }
  if (!images.empty()) return images;
  Reader reader(path, threads, stop);  // a still, or a file that cannot be searched
  FrameConverter converter(reader.format().color);
  while (static_cast<int>(images.size()) < count && !stop && appendNext(reader, converter, images)) continue;
  return images;
}

Image frameAt(const std::string& path, double seconds, int threads, const std::atomic<bool>& stop) {
  Reader reader(path, threads, stop);
  const double unit = av_q2d(reader.format().timeBase);
  SourceFrame frame;
  while (!stop && reader.next(frame)) {
    if (static_cast<double>(frame.time + frame.duration) * unit > seconds) {
      return turned(FrameConverter(reader.format().color).convert(*frame.picture), reader.format().quarterTurns());
    }
  }
  throw UserError(path + ": has no picture at " + std::to_string(seconds) + " s; name an earlier time");
}

}  // namespace kalvetra
