#include "jobs/frame_keyer.h"

#include "compositing/mattes.h"
#include "compositing/over.h"
#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

namespace {

ConstFrame frameOf(const Image& image) { return packedFrame(image.argb.data(), image.width, image.height); }

}  // namespace

void FrameKeyer::begin(const AVFrame& frame, const KeySettings& settings, const Companions& companions) {
  given_.reset();
  converter_.convert(frame, converted_);
  prepare(settings, companions);
}

void FrameKeyer::begin(std::shared_ptr<const Image> source, const KeySettings& settings, const Companions& companions) {
  given_ = std::move(source);
  prepare(settings, companions);
}

void FrameKeyer::prepare(const KeySettings& settings, const Companions& companions) {
  settings_ = settings;
  settings_.view = kKalvetraViewResult;
  companions_ = companions;
  isKeyed_ = false;
}

const Image& FrameKeyer::keyed() {
  if (isKeyed_) return keyed_;
  const int width = source().width, height = source().height;
  keyed_.resize(width, height);
  const auto render = fields_ ? renderFields : static_cast<decltype(&renderFields)>(renderFrame);
  render(settings_, source().argb.data(), keyed_.argb.data(), width, height);
  if (companions_.holdout) applyHoldout(*companions_.holdout, source(), keyed_);
  if (companions_.garbage) applyGarbage(*companions_.garbage, keyed_);
  isKeyed_ = true;
  return keyed_;
}

const Image& FrameKeyer::plate() {
  view_.resize(source().width, source().height);
  const auto render = fields_ ? renderFieldPlates : renderPlate;
  render(settings_, source().argb.data(), view_.argb.data(), source().width, source().height);
  return view_;
}

Frame FrameKeyer::emptyView() {
  view_.resize(source().width, source().height);
  return packedFrame(view_.argb.data(), view_.width, view_.height);
}

const Image& FrameKeyer::view(ShownView shown) {
  switch (shown) {
    case ShownView::Source:
      return source();
    case ShownView::Result:
      return keyed();
    case ShownView::Matte:
      showMatte(frameOf(keyed()), emptyView());
      return view_;
    case ShownView::Plate:
      return plate();
    case ShownView::Status:
      status_ = showStatus(frameOf(keyed()), emptyView());
      return view_;
    case ShownView::Composite:
      layOver(keyed(), *companions_.background, view_);
      return view_;
  }
  return source();
}

}  // namespace kalvetra
