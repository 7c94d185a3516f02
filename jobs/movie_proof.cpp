#include "jobs/movie_proof.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "media/output/clip_movie.h"

namespace kalvetra {

namespace {

std::string secondsOf(std::int64_t time, AVRational unit) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f s", static_cast<double>(time) * av_q2d(unit));
  return text;
}

std::string nameOf(FieldOrder order) {
  return order == FieldOrder::TopFirst      ? "top field first"
         : order == FieldOrder::BottomFirst ? "bottom field first"
                                            : "progressive";
}

std::string nameOf(AVRational ratio) { return std::to_string(ratio.num) + ":" + std::to_string(ratio.den); }

std::string nameOf(AVCodecID codec, unsigned int tag) {
  char text[AV_FOURCC_MAX_STRING_SIZE];
  const std::string name = avcodec_get_name(codec);
  return tag == 0 ? name : name + " (" + av_fourcc_make_string(text, tag) + ")";
}

// Where the pictures' track ends by what its header says, in the file's time base and in times as Reader counts them;
// nothing where it says nothing.
std::optional<std::int64_t> statedEnd(const Reader& movie, std::int64_t firstTime) {
  const AVStream& video = movie.video();
  const AVDictionaryEntry* tag = av_dict_get(video.metadata, "DURATION", nullptr, AV_DICT_IGNORE_SUFFIX);
  std::int64_t end = 0;
  if (tag != nullptr && av_parse_time(&end, tag->value, 1) >= 0) {  // Matroska: from time 0
    const std::int64_t start = movie.container().start_time;
    return av_rescale_q(end - std::max<std::int64_t>(start, 0), av_make_q(1, AV_TIME_BASE), video.time_base);
  }
  if (video.duration > 0) return firstTime + video.duration;
  return std::nullopt;
}

// Whether a track besides the pictures ends with the file.
bool othersReachEnd(const Reader& movie) {
  const AVFormatContext& file = movie.container();
  for (unsigned int i = 0; i < file.nb_streams; ++i) {
    const AVStream& other = *file.streams[i];
    if (other.index == movie.video().index || other.duration <= 0) continue;
    const std::int64_t start = other.start_time != AV_NOPTS_VALUE ? other.start_time : 0;
    const std::int64_t end = av_rescale_q(start + other.duration, other.time_base, {1, AV_TIME_BASE});
    if (end + AV_TIME_BASE / 500 > file.duration) return true;
  }
  return false;
}

// The same where MP4 stores pictures in another order: the track's duration is then a sum over those stored, which
// lacks how long the last one shown stays. The file's duration has it; with sound that ends later, at `due` as far as
// is known.
std::int64_t statedReorderedEnd(const Reader& movie, std::int64_t due) {
  const AVFormatContext& file = movie.container();
  const std::int64_t stated = file.duration - std::max<std::int64_t>(file.start_time, 0);
  const std::int64_t end = av_rescale_q(stated, {1, AV_TIME_BASE}, movie.video().time_base);
  return othersReachEnd(movie) ? std::min(end, due) : end;
}

class MovieProver {
 public:
  MovieProver(Reader& movie, const Promise& promise, const PicturePacking& written, Proof& proof)
      : movie_(movie),
        promise_(promise),
        format_(*promise.delivery.format),
        pictures_(written.pictures()),
        color_(written.color()),
        declared_(written.encoder(1)),
        proof_(proof) {}

  std::vector<std::int64_t> run() {
    readTimes();
    expectFrames(static_cast<std::int64_t>(times_.size()), promise_, proof_);
    if (!format_.bare) {
      checkTimes();
      checkCoding();
      checkShape();
      checkAlphaTag();
      if (format_.keepsColorTags) checkColors();
    }
    checkSound();
    checkTimecode();
    return std::move(times_);
  }

 private:
  void readTimes() {
    for (PacketPtr packet; movie_.nextPacket(packet);) {
      if (packet->stream_index == movie_.video().index) times_.push_back(packet->pts);
    }
    std::sort(times_.begin(), times_.end());
  }

  // In the file's time base, from the first picture.
  std::int64_t wanted(std::int64_t time) const {
    return av_rescale_q(time - promise_.frames.front().time, promise_.pictures.timeBase, movie_.format().timeBase);
  }

  // Each time may be rounded, and so may the first.
  static bool isNear(std::int64_t a, std::int64_t b) { return std::abs(a - b) <= 1; }

  void checkTimes() {
    if (times_.empty() || times_.size() != promise_.frames.size()) return;
    const AVRational unit = movie_.format().timeBase;
    for (std::size_t i = 0; i < times_.size(); ++i) {
      const std::int64_t found = times_[i] - times_.front(), due = wanted(promise_.frames[i].time);
      if (isNear(found, due)) continue;
      proof_.differences.push_back("picture " + std::to_string(i + 1) + " comes " + secondsOf(found, unit) +
                                   " after the first instead of " + secondsOf(due, unit));
      return;
    }
    const FrameRecord& last = promise_.frames.back();
    const std::int64_t due = wanted(last.time + last.duration);
    const bool reordered = format_.muxer == std::string("mp4") && movie_.video().codecpar->video_delay > 0;
    const std::int64_t dueEnd = times_.front() + due;
    const std::int64_t end =
        reordered ? statedReorderedEnd(movie_, dueEnd) : statedEnd(movie_, times_.front()).value_or(dueEnd);
    const std::int64_t found = end - times_.front();
    const std::int64_t rounding = reordered ? av_rescale_q(1, {1, 1000}, unit) : 0;  // the file's is in milliseconds
    proof_.expect(std::abs(found - due) <= rounding + 1, secondsOf(due, unit),
                  "it lasts " + secondsOf(found, unit) + " instead of " + secondsOf(due, unit));
  }

  // Tag and profile only where the encoder has any: most leave them to the container and to each picture.
  void checkCoding() {
    const AVCodecParameters& found = *movie_.video().codecpar;
    const AVCodecContext& wanted = declared_.context();
    const bool sameTag = wanted.codec_tag == 0 || found.codec_tag == wanted.codec_tag;
    proof_.expect(found.codec_id == wanted.codec_id && sameTag, nameOf(found.codec_id, wanted.codec_tag),
                  "its codec is " + nameOf(found.codec_id, found.codec_tag) + " instead of " +
                      nameOf(wanted.codec_id, wanted.codec_tag));
    const bool said = wanted.profile != FF_PROFILE_UNKNOWN && found.profile != FF_PROFILE_UNKNOWN;
    proof_.expect(
        !said || found.profile == wanted.profile, "",
        "its codec's profile is " + std::to_string(found.profile) + " instead of " + std::to_string(wanted.profile));
  }

  void checkShape() {
    const PictureFormat& found = movie_.format();
    // Some containers hold the width on the screen in whole pixels instead of the ratio.
    const double wider = (av_q2d(found.pixelAspect) - av_q2d(pictures_.pixelAspect)) * pictures_.width;
    const bool square = av_cmp_q(pictures_.pixelAspect, {1, 1}) == 0;
    proof_.expect(std::abs(wider) <= 1.0, square ? "" : "pixels of " + nameOf(pictures_.pixelAspect),
                  "its pixels are " + nameOf(found.pixelAspect) + " instead of " + nameOf(pictures_.pixelAspect));
    proof_.expect(found.quarterTurns() == pictures_.quarterTurns(), "",
                  "it is to be turned by " + std::to_string(90 * found.quarterTurns()) + " degrees instead of " +
                      std::to_string(90 * pictures_.quarterTurns()));
    const FieldOrder order = format_.keepsFields ? pictures_.fieldOrder : FieldOrder::Progressive;
    proof_.expect(nameOf(found.fieldOrder) == nameOf(order), isInterlaced(order) ? nameOf(order) : "",
                  "its pictures are " + nameOf(found.fieldOrder) + " instead of " + nameOf(order));
  }

  void checkAlphaTag() {
    const AVDictionaryEntry* tag = av_dict_get(movie_.container().metadata, kAlphaTag, nullptr, 0);
    const std::string wanted = alphaTag(promise_.delivery), found = tag != nullptr ? tag->value : "none";
    proof_.expect(found == wanted, "alpha said to be " + wanted,
                  "its alpha is said to be " + found + " instead of " + wanted);
  }

  void checkColors() {
    const ColorTags& found = movie_.format().color;
    const bool same = found.matrix == color_.matrix && found.range == color_.range &&
                      found.primaries == color_.primaries && found.transfer == color_.transfer;
    proof_.expect(same && movie_.colorGuess().empty(), "colour tags", "its colour tags are not those of the clip");
  }

  void checkSound() {
    int found = 0;
    for (unsigned int i = 0; i < movie_.container().nb_streams; ++i) {
      if (movie_.container().streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) ++found;
    }
    const std::string tracks = found == 1 ? " sound track" : " sound tracks";
    proof_.expect(found == promise_.soundStreams, std::to_string(found) + tracks,
                  "it has " + std::to_string(found) + tracks + " instead of " + std::to_string(promise_.soundStreams));
  }

  void checkTimecode() {
    const std::string timecode = timecodeOf(movie_, 0);
    if (!format_.keepsTimecode || promise_.timecode.empty()) return;
    proof_.expect(timecode == promise_.timecode, "timecode " + timecode,
                  "its timecode is '" + timecode + "' instead of " + promise_.timecode);
  }

  Reader& movie_;
  const Promise& promise_;
  const OutputFormat& format_;
  const PictureFormat& pictures_;
  const ColorTags& color_;
  VideoEncoder declared_;
  Proof& proof_;
  std::vector<std::int64_t> times_;
};

}  // namespace

void expectFrames(std::int64_t found, const Promise& promise, Proof& proof) {
  const auto wanted = static_cast<std::int64_t>(promise.frames.size());
  proof.expect(found == wanted, std::to_string(found) + " pictures",
               "it holds " + std::to_string(found) + " pictures instead of " + std::to_string(wanted));
}

std::vector<std::int64_t> proveMovie(Reader& movie, const Promise& promise, const PicturePacking& written,
                                     Proof& proof) {
  return MovieProver(movie, promise, written, proof).run();
}

}  // namespace kalvetra
