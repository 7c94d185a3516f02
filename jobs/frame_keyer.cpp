#include "jobs/frame_keyer.h"

#include <utility>

#include "compositing/mattes.h"
#include "compositing/over.h"
#include "deep/render.h"
#include "engine/KalvetraFinalCut.h"
#include "refine/finish.h"

namespace kalvetra {

void FrameKeyer::begin(const AVFrame& frame, const KeySettings& settings, const Companions& companions,
                       ClipKnowledge known) {
  given_.reset();
  converter_.convert(frame, converted_);
  prepare(settings, companions, std::move(known));
}

void FrameKeyer::begin(std::shared_ptr<const Image> source, const KeySettings& settings, const Companions& companions,
                       ClipKnowledge known) {
  given_ = std::move(source);
  prepare(settings, companions, std::move(known));
}

void FrameKeyer::prepare(const KeySettings& settings, const Companions& companions, ClipKnowledge known) {
  known_ = std::move(known);
  plate_.reset();
  settings_ = settings;
  settings_.view = kKalvetraViewResult;
  companions_ = companions;
  isKeyed_ = false;
}

const Image& FrameKeyer::keyed() {
  if (isKeyed_) return keyed_;
  keyed_.resize(source().width, source().height, format_);
  withOptions([&](const RenderOptions& options) {
    (isDeep() ? renderDeep : render)(settings_, source().frame(), keyed_.frame(), options);
    if (isDeep()) {
      const refine::RefineInput seen{source().frame(), options.plate, settings_, options.scan};
      refine::finishKey(seen, keyed_.frame(), known_.materials.get(), options.workers);
    }
  });
  if (companions_.holdout) applyHoldout(*companions_.holdout, source(), keyed_);
  if (companions_.garbage) applyGarbage(*companions_.garbage, keyed_);
  isKeyed_ = true;
  return keyed_;
}

const Image& FrameKeyer::plate() {
  withOptions([&](const RenderOptions& options) {
    (isDeep() ? renderPlateDeep : renderPlate)(settings_, source().frame(), emptyView(), options);
  });
  return view_;
}

template <class Renderer>
void FrameKeyer::withOptions(Renderer renderer) {
  if (const PlateOf plateOf = std::exchange(known_.plate, nullptr)) plate_ = plateOf(source());
  if (plate_ == nullptr) return renderer(RenderOptions{.scan = scan_, .workers = workers_});
  const KnownPlate known = plate_->known();
  renderer(RenderOptions{.scan = scan_, .workers = workers_, .plate = &known});
}

Frame FrameKeyer::emptyView() {
  view_.resize(source().width, source().height, format_);
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
