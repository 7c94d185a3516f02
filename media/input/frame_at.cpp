#include "media/input/frame_at.h"

#include "media/pixels/frame_converter.h"
#include "support/user_error.h"

namespace kalvetra {

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
  FrameConverter converter(reader.format().color, {.premultiplied = reader.isPremultiplied()});
  return turned(converter.convert(*frame.picture), reader.format().quarterTurns());
}

}  // namespace kalvetra
