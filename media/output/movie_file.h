// A movie file that encoded packets are written to.
#pragma once

#include <string>

#include "media/ffmpeg.h"
#include "media/output/output_format.h"

namespace kalvetra {

// Declare all streams, then begin, write and finish. Every failure to write throws UserError naming `shownName`, the
// output as the user called it.
class MovieFile {
 public:
  MovieFile(const char* muxer, const std::string& path, const std::string& shownName);
  ~MovieFile();
  MovieFile(const MovieFile&) = delete;
  MovieFile& operator=(const MovieFile&) = delete;

  // Streams are numbered from 0 in the order of the calls. The returned stream may be completed until begin().
  AVStream& addStream(const AVCodecParameters& parameters, AVRational timeBase);
  AVStream& addStream(const AVCodecContext& encoder);
  bool wantsGlobalHeader() const;
  // True when files of this kind can hold such a stream.
  bool takes(const AVCodecParameters& parameters) const;
  AVDictionary** metadata() { return &context_->metadata; }
  // `options` are the container's own.
  void begin(const CodecOptions& options = {});
  // Takes the packet's data; its stream_index is set and its times are in `timeBase`.
  void write(AVPacket& packet, AVRational timeBase);
  void finish();

 private:
  void check(int result, const char* what) const;

  AVFormatContext* context_ = nullptr;
  std::string shownName_;
};

}  // namespace kalvetra
