// A movie file of keyed pictures that carries on what its source carries: sound, timecode, tags and rotation.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "media/input/reader.h"
#include "media/output/delivery.h"
#include "media/output/movie_file.h"
#include "media/output/sound_transcoder.h"

namespace kalvetra {

// What is taken over from the source besides its pictures.
struct Carried {
  bool sound = true;
  std::int64_t firstFrame = 0;  // of the source's pictures: the timecode counts from there
  bool fromInside = false;      // the movie does not begin with the source: sound from before its start comes along
  bool endsInside = false;      // nor does it end with it: sound that is encoded ends with the pictures
};

// What the output cannot hold of the source besides sound, a sentence each.
std::vector<std::string> whatIsLeftOut(const OutputFormat& format, const Reader& source, const Carried& carried);

// What became of the source's sound.
struct SoundOutcome {
  int tracks = 0;                  // in the movie
  std::vector<std::string> notes;  // what was encoded, what was left out, what was damaged: a sentence each
};

// The timecode of that picture of the clip, counted from 0; empty when the clip has none.
std::string timecodeOf(const Reader& source, std::int64_t frame);

class ClipMovie {
 public:
  // Writes to `path`. The delivery must be one of a movie. Every failure to write throws UserError naming `shownName`.
  ClipMovie(const Delivery& delivery, const std::string& path, const std::string& shownName);

  bool wantsGlobalHeader() const { return movie_.wantsGlobalHeader(); }
  // Writes the header, and asks `source` for the streams to carry over. `encoder` is that of the pictures.
  void begin(const AVCodecContext& encoder, const PictureFormat& pictures, Reader& source, const Carried& carried);

  void writePicture(AVPacket& packet, AVRational timeBase);
  // Takes those of the packets that the file holds, or sounds as them; they stay the caller's.
  void writeCopied(const std::vector<PacketPtr>& packets);
  void finish();

  // Known from begin() on; finish() adds what was damaged.
  const SoundOutcome& sound() const { return sound_; }

 private:
  struct Track {
    int index;  // in the movie
    AVCodecID codec;
    AVRational timeBase;
    std::string name;                             // for sentences
    std::unique_ptr<SoundTranscoder> transcoder;  // null: its packets are copied
  };

  void declareSound(Reader& source);
  std::unique_ptr<SoundTranscoder> transcoderFor(const AVStream& from);
  void copy(const Track& track, const AVPacket& packet);
  DeliverPacket writerOf(const Track& track);
  void noteDamage(const Track& track);
  // Where encoded sound ends for now; nothing: nowhere.
  std::optional<double> soundEnd() const { return carried_.endsInside ? std::optional(picturesEnd_) : std::nullopt; }

  Delivery delivery_;
  MovieFile movie_;
  Carried carried_;
  std::map<int, Track> tracks_;  // by the source's stream, which they describe
  SoundOutcome sound_;
  double picturesEnd_ = 0.0;  // seconds
};

}  // namespace kalvetra
