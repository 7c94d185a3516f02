// Writes the pictures of a keyed clip, and into a movie what its source carries besides.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/output/clip_movie.h"
#include "media/output/delivery.h"
#include "media/output/picture_files.h"
#include "media/output/picture_sink.h"
#include "media/output/video_encoder.h"
#include "media/pixels/frame_packer.h"

namespace kalvetra {

// Which part of an output a writer makes: all of it by default.
struct WriterPart {
  std::string movie;  // where a movie's part goes; empty: the output's place
  Carried carried;
};

// Turns and packs pictures, their hidden colours as the delivery has them, for one kind of output. Thread-safe.
class PicturePacking {
 public:
  PicturePacking(const Delivery& delivery, const PictureFormat& source);
  FramePtr pack(const Image& image) const;

  const PictureFormat& pictures() const { return pictures_; }
  const ColorTags& color() const { return color_; }
  // What a reader has to be given of a bare output.
  RawPictures asRaw() const;
  // The encoder of such an output, whoever writes it. What it says of itself is what the file's header must say.
  VideoEncoder encoder(int threads, bool globalHeader = false) const;

 private:
  Delivery delivery_;
  int quarterTurns_;        // to be turned in the pixels
  bool fields_;             // the pictures are written as two fields
  PictureFormat pictures_;  // as they are written
  ColorTags color_;
  FramePacker packer_;
};

class Writer : public PictureSink {
 public:
  // Prepares the output for the clip that `source` reads, and asks `source` for the streams to carry over. `output`
  // must outlive the writer. Throws UserError when such pictures or such a file cannot be written.
  Writer(const Delivery& delivery, const TemporaryOutput& output, const std::string& shownName, Reader& source,
         int threads, const WriterPart& part = {});

  // What of the source the output cannot hold, a sentence each.
  const std::vector<std::string>& leftOut() const { return leftOut_; }
  // Complete once the writer has finished.
  SoundOutcome sound() const { return movie_ ? movie_->sound() : SoundOutcome(); }

  PackedPicture pack(const Image& image) const override { return packing_.pack(image); }
  void write(PackedPicture picture, const PicturePlace& place) override;
  void writeCopied(const std::vector<PacketPtr>& packets) override;
  void finish() override;

 private:
  void deliver(AVPacket& packet);

  std::string shownName_;
  PicturePacking packing_;
  std::unique_ptr<ClipMovie> movie_;  // one of the two
  std::unique_ptr<PictureFiles> pictureFiles_;
  std::optional<VideoEncoder> encoder_;
  std::vector<std::string> leftOut_;
};

}  // namespace kalvetra
