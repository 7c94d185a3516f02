#include "preview/export/size_estimate.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <future>

#include "media/output/video_encoder.h"
#include "media/output/writer.h"
#include "preview/clip/thread_priority.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

// Encoders spend more on a picture that stands alone than on those that follow it, so that runs are encoded.
constexpr std::int64_t kRuns = 4, kRunFrames = 8;
constexpr std::int64_t kUsualSoundRate = 192000;  // bits a second, where a track does not say

struct Frames {
  std::int64_t first, count;
};

// All of a short range; otherwise runs from over it.
std::vector<Frames> runsOf(const Frames& range) {
  if (range.count <= kRuns * kRunFrames) return {range};
  std::vector<Frames> runs;
  for (std::int64_t i = 0; i < kRuns; ++i) {
    runs.push_back({range.first + (2 * i + 1) * range.count / (2 * kRuns) - kRunFrames / 2, kRunFrames});
  }
  return runs;
}

// Frames from one picture that stands alone to the next in long scenes.
std::int64_t keyDistance(const OutputFormat& format, const AVCodecContext& encoder) {
  if (encoder.gop_size > 0) return encoder.gop_size;
  if (format.keySeconds == 0) return format.keyFrames;
  return std::max<std::int64_t>(std::llround(format.keySeconds * av_q2d(encoder.framerate)), 1);
}

// One output's encoder, which counts bytes.
class Scale {
 public:
  Scale(const OutputRequest& output, const PictureFormat& clip, int threads)
      : output_(output), clip_(clip), threads_(threads), packing_(output.delivery, clip) {
    begin();
  }

  ShownView view() const { return output_.view; }

  void begin() {
    const Delivery& delivery = output_.delivery;
    encoder_ = std::make_unique<VideoEncoder>(*delivery.format, delivery.pixelFormat(), packing_.pictures(),
                                              packing_.color(), threads_, false);
    time_ = 0;
    isFirst_ = true;
  }

  void weigh(const Image& picture) {
    const std::int64_t duration = std::max<std::int64_t>(av_rescale_q(1, av_inv_q(clip_.frameRate), clip_.timeBase), 1);
    encoder_->encode(packing_.pack(picture), time_, duration, [this](const AVPacket& packet) { count(packet); });
    time_ += duration;
  }

  void end() {
    encoder_->flush([this](const AVPacket& packet) { count(packet); });
  }

  // Of so many frames; where `all` were weighed, in one run, just what they weigh.
  double bytesOf(std::int64_t frames, bool all) const {
    if (all || others_ == 0) return (firstBytes_ + otherBytes_) * static_cast<double>(frames) / (firsts_ + others_);
    const std::int64_t distance = keyDistance(*output_.delivery.format, encoder_->context());
    const double firsts = std::ceil(static_cast<double>(frames) / static_cast<double>(distance));
    return firsts * firstBytes_ / firsts_ + (static_cast<double>(frames) - firsts) * otherBytes_ / others_;
  }

 private:
  void count(const AVPacket& packet) {
    std::size_t alpha = 0;  // VP9's, beside the colours
    av_packet_get_side_data(&packet, AV_PKT_DATA_MATROSKA_BLOCKADDITIONAL, &alpha);
    (isFirst_ ? firstBytes_ : otherBytes_) += static_cast<double>(packet.size) + static_cast<double>(alpha);
    (isFirst_ ? firsts_ : others_) += 1.0;
    isFirst_ = false;
  }

  const OutputRequest output_;
  const PictureFormat clip_;
  const int threads_;
  const PicturePacking packing_;
  std::unique_ptr<VideoEncoder> encoder_;
  std::int64_t time_ = 0;
  bool isFirst_ = true;  // of a run
  double firstBytes_ = 0.0, otherBytes_ = 0.0, firsts_ = 0.0, others_ = 0.0;
};

double soundBytes(const Reader& clip, const OutputFormat& format, std::int64_t frames) {
  if (!format.keepsSound()) return 0.0;
  double bits = 0.0;
  const AVFormatContext& container = clip.container();
  for (unsigned int i = 0; i < container.nb_streams; ++i) {
    const AVCodecParameters& stream = *container.streams[i]->codecpar;
    if (stream.codec_type != AVMEDIA_TYPE_AUDIO) continue;
    bits += static_cast<double>(stream.bit_rate > 0 ? stream.bit_rate : kUsualSoundRate);
  }
  return bits / 8.0 * static_cast<double>(frames) / av_q2d(clip.format().frameRate);
}

Frames framesIn(const ClipRange& range, std::int64_t all) {
  const std::int64_t first = range.start ? range.start->frame : 0;
  return {first, std::max<std::int64_t>((range.end ? range.end->frame : all) - first, 1)};
}

class Estimate {
 public:
  Estimate(const KeyJob& clip, const EstimateSources& sources, const KeyRequest& request, const Abandon& abandoned,
           const std::atomic<bool>& stop)
      : sources_(sources),
        request_(request),
        abandoned_(abandoned),
        stop_(stop),
        job_(keyJobFor(clip, request, withEnding("size", request), true)),
        range_(framesIn(request.range, sources.clip.count())),
        keying_(sources.clip.keying(sources.clip.keysDeep(request.depth, request.settings))),
        plates_(sources.plates.of(request.settings, keying_.deep(), abandoned)),
        keyer_(keying_) {
    for (OutputRequest output : job_.outputs) {
      output.delivery.depth = keying_.depth();
      output.delivery.dither = keying_.dithers() && !output.delivery.levels;
      scales_.emplace_back(output, sources.clip.format(), clip.threads);
    }
  }

  double bytes() {
    const std::vector<Frames> runs = runsOf(range_);
    for (std::size_t i = 0; i < runs.size(); ++i) weigh(runs[i], i == 0);
    const Reader& clip = sources_.clip.reader();
    double sum = soundBytes(clip, *job_.outputs.front().delivery.format, range_.count);
    for (const Scale& scale : scales_) sum += scale.bytesOf(range_.count, runs.size() == 1);
    return sum;
  }

 private:
  void weigh(const Frames& run, bool isFirst) {
    for (Scale& scale : scales_) {
      if (!isFirst) scale.begin();
    }
    for (std::int64_t number = run.first; number < run.first + run.count; ++number) weigh(number);
    for (Scale& scale : scales_) scale.end();
  }

  void weigh(std::int64_t number) {
    sources_.precedence.giveWay(stop_);
    if (abandoned_()) throw Conflict("the estimate was overtaken by a newer one");
    const KeySettings settings = request_.settings.at(number);
    Companions companions = sources_.mattes.at(number, abandoned_, keying_.deep());
    if (!request_.over.empty()) {
      companions.background = sources_.backgrounds.at(number, request_.over, abandoned_, keying_.deep());
    }
    keyer_.begin(sources_.clip.picture(number, abandoned_, keying_.deep()), settings, companions,
                 knownOf(plates_, number));
    for (std::size_t i = 0; i < scales_.size(); ++i) {
      const bool follows = i == 0 && job_.animatedView;
      scales_[i].weigh(keyer_.view(follows ? static_cast<ShownView>(settings.view) : scales_[i].view()));
    }
  }

  const EstimateSources& sources_;
  const KeyRequest& request_;
  const Abandon& abandoned_;
  const std::atomic<bool>& stop_;
  const KeyJob job_;
  const Frames range_;
  const ClipKeying& keying_;
  const std::shared_ptr<const ClipPlates> plates_;
  FrameKeyer keyer_;
  std::deque<Scale> scales_;  // one an output
};

}  // namespace

SizeEstimator::Stop SizeEstimator::takeTurn() {
  const std::lock_guard lock(mutex_);
  if (stop_) *stop_ = true;
  return stop_ = std::make_shared<std::atomic<bool>>(false);
}

void SizeEstimator::cancel() {
  const std::lock_guard lock(mutex_);
  if (stop_) *stop_ = true;
}

double SizeEstimator::estimate(const KeyRequest& request) {
  const Stop stop = takeTurn();
  const auto work = [&] {  // in a thread of its own, which keeps its low priority
    lowerPriority();
    const Abandon abandoned = [&] { return *stop || stopAll_; };
    return Estimate(clip_, sources_, request, abandoned, *stop).bytes();
  };
  return std::async(std::launch::async, work).get();
}

}  // namespace kalvetra
