// A movie file of keyed pictures that carries on what its source carries: sound, timecode, tags and rotation.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "media/delivery.h"
#include "media/packet_sink.h"
#include "media/reader.h"

namespace kalvetra {

// What is taken over from the source besides its pictures.
struct Carried {
  bool sound = true;
  std::int64_t firstFrame = 0;  // of the source's pictures: the timecode counts from there
};

// What the output cannot hold of the source, a sentence each.
std::vector<std::string> whatIsLeftOut(const OutputFormat& format, const Reader& source, const Carried& carried,
                                       const std::map<int, int>& copied);

// The timecode of that picture of the clip, counted from 0; empty when the clip has none.
std::string timecodeOf(const Reader& source, std::int64_t frame);

class ClipMovie {
 public:
  // Writes to `path`. The delivery must be one of a movie. Every failure to write throws UserError naming `shownName`.
  ClipMovie(const Delivery& delivery, const std::string& path, const std::string& shownName);

  bool wantsGlobalHeader() const { return movie_.wantsGlobalHeader(); }
  // Writes the header, and tells `source` which streams to deliver. `encoder` is that of the pictures.
  void begin(const AVCodecContext& encoder, const PictureFormat& pictures, Reader& source, const Carried& carried);

  void writePicture(AVPacket& packet, AVRational timeBase);
  // Takes those of the packets that the file holds; they stay the caller's.
  void writeCopied(const std::vector<PacketPtr>& packets);
  void finish() { movie_.finish(); }

  // Source stream -> output stream.
  const std::map<int, int>& copied() const { return copiedTo_; }

 private:
  void declareSound(Reader& source);

  Delivery delivery_;
  MovieFile movie_;
  std::map<int, int> copiedTo_;
  std::map<int, AVRational> copiedBase_;  // time base of a source stream
};

}  // namespace kalvetra
