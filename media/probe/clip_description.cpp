#include "media/probe/clip_description.h"

#include <algorithm>
#include <cmath>

#include "media/alpha_mode.h"
#include "media/input/reader.h"
#include "media/input/timecode.h"
#include "media/probe/float_levels.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr int kFirstPictures = 60;                     // looked at in a row
constexpr double kElsewhere[] = {0.3, 0.5, 0.7, 0.9};  // of the clip, one picture each
constexpr double kUneven = 0.1;                        // of a picture's duration, from the shortest to the longest

std::string textOr(const char* text, const std::string& fallback) { return text != nullptr ? text : fallback; }

std::string chromaOf(const AVPixFmtDescriptor& d) {
  if ((d.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0) return "RGB";
  if (d.nb_components < 3) return "grey";
  const int across = d.log2_chroma_w, down = d.log2_chroma_h;
  if (across == 0) return down == 0 ? "4:4:4" : "4:4:0";
  if (across == 1) return down == 0 ? "4:2:2" : "4:2:0";
  return down == 0 ? "4:1:1" : "4:1:0";
}

Property property(const char* name, bool stated, bool implied) {
  return {textOr(name, "unknown"), implied ? Origin::Implied : stated ? Origin::Tagged : Origin::Guessed};
}

// Floats hold light, but for raw ones, whose frames say that they are code values.
bool holdsLight(const AVFrame& picture, const AVPixFmtDescriptor& d) {
  return (d.flags & AV_PIX_FMT_FLAG_FLOAT) != 0 &&
         (picture.color_trc == AVCOL_TRC_LINEAR || picture.color_trc == AVCOL_TRC_UNSPECIFIED);
}

void describeColors(const AVCodecParameters& stated, const ColorTags& color, const AVPixFmtDescriptor& d,
                    ClipDescription& clip) {
  const bool rgb = clip.chroma == "RGB";
  clip.matrix = property(av_color_space_name(color.matrix), stated.color_space != AVCOL_SPC_UNSPECIFIED,
                         rgb || d.nb_components < 3);
  clip.range = property(color.range == AVCOL_RANGE_JPEG ? "full" : "limited",
                        stated.color_range != AVCOL_RANGE_UNSPECIFIED, rgb || std::string(d.name).starts_with("yuvj"));
  clip.primaries =
      property(av_color_primaries_name(color.primaries), stated.color_primaries != AVCOL_PRI_UNSPECIFIED, false);
  clip.transfer = property(av_color_transfer_name(color.transfer), stated.color_trc != AVCOL_TRC_UNSPECIFIED, false);
}

void describeSamples(const AVFrame& picture, const Reader& reader, ClipDescription& clip) {
  const AVPixFmtDescriptor* d = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (d == nullptr) throw UserError(clip.path + ": its pictures come in an unknown pixel format; convert it first");
  clip.pixelFormat = d->name;
  clip.depth = (d->flags & AV_PIX_FMT_FLAG_PAL) != 0 ? 8 : d->comp[0].depth;
  clip.chroma = chromaOf(*d);
  describeColors(*reader.video().codecpar, reader.format().color, *d, clip);
  if (holdsLight(picture, *d)) clip.transfer = {"linear", Origin::Implied};
  if (clip.chroma != "RGB" && d->log2_chroma_w + d->log2_chroma_h > 0) {
    const bool stated = picture.chroma_location != AVCHROMA_LOC_UNSPECIFIED;
    clip.chromaSiting = property(stated ? av_chroma_location_name(picture.chroma_location) : "left", stated, false);
  }
}

void describeAlpha(const AVFrame& picture, const Reader& reader, ClipDescription& clip) {
  const AVPixFmtDescriptor& d = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if ((d.flags & AV_PIX_FMT_FLAG_ALPHA) == 0) return;
  const std::string tag = reader.alphaTag();
  for (const AlphaMode mode : {AlphaMode::Straight, AlphaMode::Premultiplied}) {
    if (tag != alphaTag(mode)) continue;
    clip.alpha = mode == AlphaMode::Straight ? AlphaKind::Straight : AlphaKind::Premultiplied;
    clip.alphaReason = "tagged";
    return;
  }
  switch (reader.video().codecpar->codec_id) {
    case AV_CODEC_ID_PNG:
    case AV_CODEC_ID_APNG:
    case AV_CODEC_ID_WEBP:
    case AV_CODEC_ID_GIF:
      clip.alpha = AlphaKind::Straight;
      clip.alphaReason = "by the file format";
      return;
    case AV_CODEC_ID_EXR:
      clip.alpha = AlphaKind::Premultiplied;
      clip.alphaReason = "by the file format";
      return;
    default:
      clip.alpha = AlphaKind::Unknown;
      clip.alphaReason = "the file does not say; taken for straight";
  }
}

void describeSound(const AVFormatContext& container, ClipDescription& clip) {
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVCodecParameters& p = *container.streams[i]->codecpar;
    if (p.codec_type != AVMEDIA_TYPE_AUDIO) continue;
    clip.sound.push_back({avcodec_get_name(p.codec_id), p.ch_layout.nb_channels, p.sample_rate});
  }
}

// Bits a second of the video; the whole file's where it has nothing else in it. 0 when not known.
double videoBitRate(const Reader& reader) {
  const AVCodecParameters& p = *reader.video().codecpar;
  if (p.bit_rate > 0) return static_cast<double>(p.bit_rate);
  return reader.container().nb_streams == 1 ? static_cast<double>(reader.container().bit_rate) : 0.0;
}

void describeLength(const Reader& reader, ClipDescription& clip) {
  if (reader.jumped()) return;  // what the file says holds for a part of it
  const std::int64_t frames = reader.expectedFrames();
  const bool sequence = ImageSequence::isPattern(clip.path);
  clip.framesCounted = reader.countsFrames() || clip.still;
  if (frames > 0 || clip.still) clip.frames = clip.still ? 1 : frames;
  const double unit = 1.0 / AV_TIME_BASE;
  if (sequence) {
    std::int64_t places = frames;
    for (const NumberRange& gap : reader.gaps()) places += gap.last - gap.first + 1;
    clip.seconds = static_cast<double>(places) / av_q2d(clip.frameRate);
  } else if (const std::int64_t duration = clipDuration(reader.container()); !clip.still && duration > 0) {
    clip.seconds = static_cast<double>(duration) * unit;
  }
  const double bits = videoBitRate(reader), rate = av_q2d(clip.frameRate);
  if (bits > 0 && !clip.still && !sequence) {
    clip.bitsPerPixel = bits / (rate * clip.width * clip.height);
  }
}

// Only some formats list all their pictures before the first is read.
std::vector<std::int64_t> indexedTimes(const Reader& reader) {
  std::vector<std::int64_t> times;
  if (std::string(reader.container().iformat->name).find("mp4") == std::string::npos) return times;
  auto& stream = const_cast<AVStream&>(reader.video());  // FFmpeg's look at the index changes nothing
  for (int i = 0; i < avformat_index_get_entries_count(&stream); ++i) {
    times.push_back(avformat_index_get_entry(&stream, i)->timestamp);
  }
  return times;
}

// Times ascend. One tick more or less is the rounding of the time base.
bool isUneven(const std::vector<std::int64_t>& times) {
  if (times.size() < 3) return false;
  std::vector<std::int64_t> steps;
  for (std::size_t i = 1; i < times.size(); ++i) steps.push_back(times[i] - times[i - 1]);
  std::sort(steps.begin(), steps.end());
  const auto spread = static_cast<double>(steps.back() - steps.front());
  return spread > 2 && spread > kUneven * static_cast<double>(steps[steps.size() / 2]);
}

// What the pictures themselves show.
class Look {
 public:
  Look(Reader& reader, ClipDescription& clip) : reader_(reader), clip_(clip) {}

  void atFirstPictures(const std::atomic<bool>& stop) {
    std::vector<std::int64_t> times;
    int lastKey = 0, number = 0;
    bool allKeys = true;
    for (SourceFrame frame; number < kFirstPictures && !stop && reader_.next(frame); ++number) {
      const AVFrame& picture = *frame.picture;
      if (number == 0) describeSamples(picture, reader_, clip_);
      if (number == 0) describeAlpha(picture, reader_, clip_);
      if (number == 0) clip_.holdsLevels = holdsLevels(picture);
      if (number % 10 == 0) luma_.add(picture);
      times.push_back(frame.time);
      allKeys = allKeys && picture.key_frame != 0;
      if (picture.key_frame == 0) continue;
      clip_.keyInterval = std::max(clip_.keyInterval, number - lastKey);
      lastKey = number;
    }
    if (number == 0) throw UserError(clip_.path + ": no picture in it can be read; check the file");
    const AVCodecDescriptor* codec = avcodec_descriptor_get(reader_.video().codecpar->codec_id);
    clip_.intraOnly = (codec != nullptr && (codec->props & AV_CODEC_PROP_INTRA_ONLY) != 0) || allKeys;
    clip_.still = number == 1 && isPictureFile(reader_.container());
    const std::vector<std::int64_t> indexed = indexedTimes(reader_);
    clip_.variableRate = isUneven(indexed.empty() ? times : indexed) && reader_.gaps().empty();
  }

  void elsewhere(const std::atomic<bool>& stop) {
    for (const double place : kElsewhere) {
      SourceFrame frame;
      if (stop || clip_.still || clip_.path == kStandardInput || !reader_.seek(place)) break;
      if (reader_.next(frame)) luma_.add(*frame.picture);
    }
    clip_.rangeDoubt = luma_.doubt(clip_.range.value == "full");
  }

 private:
  Reader& reader_;
  ClipDescription& clip_;
  LumaStatistics luma_;
};

}  // namespace

ClipDescription describeClip(const std::string& path, const SourceOptions& options, int threads,
                             const std::atomic<bool>& stop) {
  Reader reader(path, options, threads, stop);
  const PictureFormat& format = reader.format();
  ClipDescription clip;
  clip.path = path;
  clip.container = reader.container().iformat->name;
  clip.codec = avcodec_get_name(reader.video().codecpar->codec_id);
  clip.width = format.width;
  clip.height = format.height;
  clip.fieldOrder = format.fieldOrder;
  clip.rotation = 90 * format.quarterTurns();
  clip.pixelAspect = format.pixelAspect;
  clip.frameRate = format.frameRate;
  clip.timecode = timecodeOf(reader.container(), reader.video());
  clip.dividedByAlpha = reader.isPremultiplied();
  clip.gaps = reader.describeGaps();
  describeSound(reader.container(), clip);
  Look look(reader, clip);
  look.atFirstPictures(stop);
  clip.jumps = reader.describeJumps();
  clip.damagedFrames = reader.damagedFrames();
  describeLength(reader, clip);
  look.elsewhere(stop);
  return clip;
}

}  // namespace kalvetra
