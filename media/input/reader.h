// Reads the pictures of a video, a still or an image sequence, and the packets of streams that are to be copied.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "media/input/continuous_clock.h"
#include "media/input/image_sequence.h"
#include "media/input/input_file.h"
#include "media/input/loss_tally.h"
#include "media/input/source_options.h"
#include "media/picture.h"

namespace kalvetra {

// One picture, and the copied streams' packets that came before it. Times are in the time base of their stream, counted
// from the clip's start.
struct SourceFrame {
  FramePtr picture;  // null after the last picture
  std::int64_t time = 0;
  std::int64_t duration = 0;
  std::vector<PacketPtr> copied;
};

enum class Decoding {
  Strict,  // all damage is reported
  Fast,    // on all threads, though some decoders then fail to report damage
};

class Reader {
 public:
  // Opens `path`: a file, an image sequence pattern like shot-%04d.png, or - for the standard input. `stop`, once true,
  // ends any waiting for data. Throws UserError when there is nothing to read pictures from.
  Reader(const std::string& path, int threads, const std::atomic<bool>& stop) : Reader(path, {}, threads, stop) {}
  Reader(const std::string& path, const SourceOptions& options, int threads, const std::atomic<bool>& stop,
         Decoding decoding = Decoding::Strict);

  const std::string& path() const { return path_; }
  const PictureFormat& format() const { return format_; }
  // What had to be guessed about the colours; empty when the file says it all.
  const std::string& colorGuess() const { return colorGuess_; }
  // What the container's own tag says of its alpha (see kAlphaTag), empty without one; and whether that is that its
  // colours are multiplied by alpha. The reader leaves them so, a FrameConverter can divide them.
  std::string alphaTag() const;
  // For deep pictures a format's own rule counts as well: OpenEXR demands such colours.
  bool isPremultiplied(bool deep = false) const;
  // The runs of pictures that an image sequence lacks, and a sentence about them; empty without gaps.
  const std::vector<NumberRange>& gaps() const;
  std::string describeGaps() const;
  // What number the file of a picture of that index (from 0) and time has; outside of sequences it counts from 1.
  int fileNumber(std::int64_t index, std::int64_t time) const;
  // The numbers of an image sequence's files, ascending; empty for anything else.
  std::vector<int> sequenceNumbers() const { return sequence_ ? sequence_->numbers() : std::vector<int>(); }
  // Number of pictures as the file declares or suggests it; 0 when it does not.
  std::int64_t expectedFrames() const;
  // True when that is a count, and does not follow from a duration.
  bool countsFrames() const { return sequence_.has_value() || declared_.isCounted; }

  const AVFormatContext& container() const { return *input_.container; }
  const AVStream& video() const { return *input_.container->streams[videoIndex_]; }
  // Asks for a stream to be delivered with the pictures.
  void copyStream(int index) { copied_.insert(index); }
  bool copiesStreams() const { return !copied_.empty(); }
  AVRational timeBaseOf(int stream) const { return container().streams[stream]->time_base; }

  // The next picture; false after the last one, when `frame` holds the remaining packets alone.
  bool next(SourceFrame& frame);
  // The next packet of the pictures or of a stream that is to be copied, instead of a picture: nothing is decoded.
  // Times count from the clip's start. False at the end.
  bool nextPacket(PacketPtr& packet);
  // Goes to a place near `fraction` (0..1) of the clip, or to one from which decoding reaches that time, in seconds
  // from the clip's start. False when the file cannot do that.
  bool seek(double fraction);
  bool seekTime(double seconds);
  // Goes to the key picture of that time, in the time base of the pictures, or to one before it. In an image sequence
  // every picture is a key.
  bool seekPicture(std::int64_t time);
  // Back to the state just after opening: all that is read is the same again, and counted again. Opens the file once
  // more where seeking might give something else. What container() and video() gave before is no longer valid.
  void rewind();

  // Pictures that could not be decoded, and, as far as was read, those in the gaps of a sequence; once read to the end
  // also those that the file declares and does not hold. And pictures decoded with errors.
  std::int64_t lostFrames() const;
  std::int64_t damagedFrames() const { return tally_->spoilt(); }
  // Where the file's clock jumped, as far as was read, its pictures and their sound go on without a gap.
  bool jumped() const { return clock_ && clock_->jumps() > 0; }
  // A sentence about that; empty without a jump.
  std::string describeJumps() const;
  // A sentence about that many lost and damaged pictures of this file; empty without any.
  std::string describeDamage(std::int64_t lost, std::int64_t damaged) const;

 private:
  void open();
  void openSource();
  void startClock();
  void startTally();
  void openDecoder();
  void describePictures();
  void lookAtFirstPicture();
  FramePtr firstPicture();
  void refuseMirrored() const;
  int readPacket(AVPacket& packet);
  bool holdsFloatPixels() const { return options_.raw && options_.raw->floats; }
  bool isWanted(int stream) const { return stream == videoIndex_ || copied_.contains(stream); }
  void countFromStart(AVPacket& packet) const;
  bool seekTo(std::int64_t target);
  bool goToStart();
  int readSource(AVPacket& packet);
  int readFile(AVPacket& packet);
  void restart();
  void feedDecoder(SourceFrame& frame);
  bool isCutOff(const AVPacket& packet) const;
  void stamp(SourceFrame& frame);
  std::int64_t endOf(const AVPacket& packet) const;
  std::int64_t nominalDuration() const;
  bool maySkipSilently() const;
  std::int64_t startOf(const AVStream& stream) const;

  std::string path_;
  std::string name_;  // what messages call it
  SourceOptions options_;
  int threads_;
  const std::atomic<bool>& stop_;
  Decoding decoding_;
  std::optional<ImageSequence> sequence_;
  InputFile input_;  // of a sequence its first file, opened for the format alone
  CodecContextPtr decoder_;
  int videoIndex_ = -1;
  PictureFormat format_;
  std::string colorGuess_;
  std::optional<ContinuousClock> clock_;  // of files that have one
  std::set<int> copied_;
  std::deque<PacketPtr> ahead_;  // read before their turn, to look at the first picture
  int endState_ = 0;             // the error that ended reading
  std::int64_t lastTime_ = -1;
  std::int64_t nextTime_ = 0;  // where a picture without a timestamp belongs
  DeclaredLength declared_;
  std::optional<LossTally> tally_;
  bool draining_ = false;  // the file is at its end; the decoder hands out what it still holds
  bool ended_ = false;     // it holds no more
  bool moved_ = false;     // something was read or sought since opening
};

}  // namespace kalvetra
