// Writes pictures as PNG, a sequence from number 1.
#pragma once

#include <string>

#include "media/output/picture_files.h"
#include "media/output/video_encoder.h"

namespace kalvetra {

class PictureWriter {
 public:
  // For pictures of one size, in AV_PIX_FMT_RGBA (straight alpha) or AV_PIX_FMT_GRAY8. `output` must outlive the
  // writer.
  PictureWriter(const TemporaryOutput& output, const std::string& shownName, AVPixelFormat format, int width,
                int height);
  void write(FramePtr picture);
  void finish();

 private:
  PictureFiles files_;
  VideoEncoder encoder_;
  std::int64_t count_ = 0;
};

}  // namespace kalvetra
