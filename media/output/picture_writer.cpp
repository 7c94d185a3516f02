#include "media/output/picture_writer.h"

namespace kalvetra {

namespace {

PictureFormat pictureFormat(int width, int height) {
  PictureFormat format;
  format.width = width;
  format.height = height;
  return format;
}

}  // namespace

PictureWriter::PictureWriter(const TemporaryOutput& output, const std::string& shownName, AVPixelFormat format,
                             int width, int height)
    : files_(output, shownName),
      encoder_(outputFormatNamed("png"), format, pictureFormat(width, height),
               {AVCOL_SPC_RGB, AVCOL_RANGE_JPEG, AVCOL_PRI_BT709, AVCOL_TRC_IEC61966_2_1}, 1, false) {}

void PictureWriter::write(FramePtr picture) {
  files_.expect(static_cast<int>(count_) + 1);
  encoder_.encode(std::move(picture), count_++, 1, [this](AVPacket& packet) { files_.write(packet); });
}

void PictureWriter::finish() {
  encoder_.flush([this](AVPacket& packet) { files_.write(packet); });
}

}  // namespace kalvetra
