// Writes a keyed clip: its pictures, and what its source carries besides.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "media/delivery.h"
#include "media/frame_packer.h"
#include "media/packet_sink.h"
#include "media/picture_sink.h"
#include "media/reader.h"
#include "media/video_encoder.h"

namespace kalvetra {

class Writer : public PictureSink {
 public:
  // Prepares the output for the clip that `source` reads, and tells `source` which streams to deliver. `output` must
  // outlive the writer. Throws UserError when such pictures or such a file cannot be written.
  Writer(const Delivery& delivery, const TemporaryOutput& output, const std::string& shownName, Reader& source,
         int threads);

  // What of the source the output cannot hold, a sentence each.
  const std::vector<std::string>& leftOut() const { return leftOut_; }

  // Turns and packs the picture for the encoder.
  PackedPicture pack(const Image& image) const override;
  void write(PackedPicture picture, std::int64_t time, std::int64_t duration) override;
  void writeCopied(std::vector<PacketPtr>& packets) override;
  void finish() override;

 private:
  void openMovie(const Delivery& delivery, const TemporaryOutput& output, Reader& source, int threads);
  void declareCopiedStreams(MovieFile& movie, Reader& source, const OutputFormat& format);
  void noteLeftOut(const Reader& source, const OutputFormat& format);
  void keepTimecode(const Reader& source, AVStream& video, const OutputFormat& format);
  void deliver(AVPacket& packet);

  std::string shownName_;
  int quarterTurns_;  // to be turned in the pixels
  PictureFormat pictures_;
  ColorTags color_;
  FramePacker packer_;
  bool keepsNegativeTimes_;
  std::unique_ptr<PacketSink> sink_;
  std::unique_ptr<VideoEncoder> encoder_;
  std::map<int, int> copiedTo_;           // source stream -> output stream
  std::map<int, AVRational> copiedBase_;  // time base of a source stream
  std::vector<std::string> leftOut_;
};

}  // namespace kalvetra
