#include "preview/clip/matte_stream.h"

#include "jobs/ordered_pipeline.h"
#include "media/input/frame_access.h"
#include "preview/clip/shown_picture.h"
#include "preview/clip/thread_priority.h"

namespace kalvetra {

namespace {

void takeAlpha(const Image& image, MattePlane& matte) {
  if (image.isDeep()) return takeAlpha(inEightBits(image.frame()), matte);
  matte.resize(image.bytes.size() / 4);
  for (std::size_t i = 0; i < matte.size(); ++i) matte[i] = image.bytes[4 * i];
}

struct StripFrame {
  std::int64_t number = 0;  // in the clip
  std::shared_ptr<const AVFrame> picture;
  Companions mattes;
  MattePlane matte;
};

}  // namespace

bool streamMattes(const KeyJob& job, const AnimatedSettings& settings, std::shared_ptr<const PictureIndex> index,
                  Precedence& precedence, const std::atomic<bool>& stop, const MatteStream& stream) {
  FrameAccess clip(job.input, job.source, job.threads, stop, 0);
  clip.setIndex(std::move(index));
  const ClipKeying keying(clip.reader(), job.keying);
  const std::int64_t first = job.range.firstFrame(clip.reader().format().frameRate);
  std::int64_t taken = 0;
  OrderedPipeline<StripFrame>::Stages stages;
  stages.read = [&](StripFrame& frame) {
    precedence.giveWay(stop);
    frame.number = first + taken;
    if (stop || job.range.isAfter(frame.number, 0.0, taken++)) return false;
    frame.picture = clip.frame(frame.number);
    if (!frame.picture) return false;
    frame.mattes = stream.companions(frame.number);
    return true;
  };
  stages.startWorker = [&] {
    lowerPriority();
    return [&, keyer = std::make_shared<FrameKeyer>(keying)](StripFrame& frame) {
      keyer->begin(*frame.picture, settings.at(frame.number), frame.mattes, knownOf(stream.plates, frame.number));
      takeAlpha(keyer->view(ShownView::Result), frame.matte);
      frame.picture.reset();
      frame.mattes = {};
    };
  };
  stages.write = [&](StripFrame& frame) {
    if (!stop) stream.matte(std::move(frame.matte));
  };
  stream.begin(clip.reader());
  const int numbering = clip.generation();
  OrderedPipeline<StripFrame>::run(stages, job.threads);
  return clip.generation() == numbering;
}

}  // namespace kalvetra
