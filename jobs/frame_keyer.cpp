#include "jobs/frame_keyer.h"

#include "compositing/mattes.h"
#include "compositing/over.h"
#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

void FrameKeyer::begin(const AVFrame& frame, const KeySettings& settings, const Companions& companions) {
  converter_.convert(frame, source_);
  settings_ = settings;
  settings_.view = kKalvetraViewResult;
  companions_ = companions;
  isKeyed_ = false;
}

const Image& FrameKeyer::keyed() {
  if (isKeyed_) return keyed_;
  const int width = source_.width, height = source_.height;
  keyed_.resize(width, height);
  const auto render = fields_ ? renderFields : static_cast<decltype(&renderFields)>(renderFrame);
  render(settings_, source_.argb.data(), keyed_.argb.data(), width, height);
  if (companions_.holdout) applyHoldout(*companions_.holdout, source_, keyed_);
  if (companions_.garbage) applyGarbage(*companions_.garbage, keyed_);
  isKeyed_ = true;
  return keyed_;
}

const Image& FrameKeyer::plate() {
  view_.resize(source_.width, source_.height);
  const auto render = fields_ ? renderFieldPlates : renderPlate;
  render(settings_, source_.argb.data(), view_.argb.data(), source_.width, source_.height);
  return view_;
}

const Image& FrameKeyer::view(ShownView shown) {
  switch (shown) {
    case ShownView::Source:
      return source_;
    case ShownView::Result:
      return keyed();
    case ShownView::Matte:
      matteOf(keyed(), view_);
      return view_;
    case ShownView::Plate:
      return plate();
    case ShownView::Status:
      status_ = showStatus(keyed(), view_);
      return view_;
    case ShownView::Composite:
      layOver(keyed(), *companions_.background, view_);
      return view_;
  }
  return source_;
}

}  // namespace kalvetra
