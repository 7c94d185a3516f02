// Where encoded packets go: a movie file, or one file a picture.
#pragma once

#include <deque>
#include <memory>
#include <string>

#include "media/ffmpeg.h"
#include "media/files/temporary_output.h"
#include "media/output/output_format.h"

namespace kalvetra {

// Every failure to write throws UserError naming `shownName`, the output as the user called it.
class PacketSink {
 public:
  virtual ~PacketSink() = default;
  // Writes one packet, whose stream_index is set and whose times are in `timeBase`; takes its data.
  virtual void write(AVPacket& packet, AVRational timeBase) = 0;
  virtual void finish() = 0;
};

// A movie file. Declare all streams, then begin, write and finish.
class MovieFile : public PacketSink {
 public:
  MovieFile(const char* muxer, const std::string& path, const std::string& shownName);
  ~MovieFile() override;

  // Streams are numbered from 0 in the order of the calls. The returned stream may be completed until begin().
  AVStream& addStream(const AVCodecParameters& parameters, AVRational timeBase);
  AVStream& addStream(const AVCodecContext& encoder);
  bool wantsGlobalHeader() const;
  // True when files of this kind can hold such a stream.
  bool takes(const AVCodecParameters& parameters) const;
  AVDictionary** metadata() { return &context_->metadata; }
  // `options` are the container's own.
  void begin(const CodecOptions& options = {});
  void write(AVPacket& packet, AVRational timeBase) override;
  void finish() override;

 private:
  void check(int result, const char* what) const;

  AVFormatContext* context_ = nullptr;
  std::string shownName_;
};

// One file a picture; a single one when the output is not a sequence.
class PictureFiles : public PacketSink {
 public:
  PictureFiles(const TemporaryOutput& output, const std::string& shownName) : output_(output), shownName_(shownName) {}
  // Names the number of a picture that goes to the encoder, before its packet comes: in the same order.
  void expect(int number);
  void write(AVPacket& packet, AVRational timeBase) override;
  void finish() override {}

 private:
  const TemporaryOutput& output_;
  std::string shownName_;
  std::deque<int> numbers_;  // of pictures still in the encoder
  bool any_ = false;         // a picture was expected
};

}  // namespace kalvetra
