#include "jobs/frame_keyer.h"

#include "compositing/mattes.h"
#include "compositing/over.h"
#include "engine/KalvetraFinalCut.h"

namespace kalvetra {

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
  keyed_.resize(source().width, source().height);
  render(settings_, source().frame(), keyed_.frame(), {scan_});
  if (companions_.holdout) applyHoldout(*companions_.holdout, source(), keyed_);
  if (companions_.garbage) applyGarbage(*companions_.garbage, keyed_);
  isKeyed_ = true;
  return keyed_;
}

const Image& FrameKeyer::plate() {
  renderPlate(settings_, source().frame(), emptyView(), {scan_});
  return view_;
}

Frame FrameKeyer::emptyView() {
  view_.resize(source().width, source().height);
  return view_.frame();
}

const Image& FrameKeyer::view(ShownView shown) {
  switch (shown) {
    case ShownView::Source:
      return source();
    case ShownView::Result:
      return keyed();
    case ShownView::Matte:
      showMatte(keyed().frame(), emptyView());
      return view_;
    case ShownView::Plate:
      return plate();
    case ShownView::Status:
      status_ = showStatus(keyed().frame(), emptyView());
      return view_;
    case ShownView::Composite:
      layOver(keyed(), *companions_.background, view_);
      return view_;
  }
  return source();
}

}  // namespace kalvetra
