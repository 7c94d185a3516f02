// One frame from the decoder's picture to every view of its key.
#pragma once

#include <functional>
#include <memory>

#include "analysis/matte_views.h"
#include "engine/render.h"
#include "jobs/clip_keying.h"
#include "jobs/shown_view.h"
#include "plates/plate.h"
#include "refine/materials.h"

namespace kalvetra {

// Pictures that go with one frame, deep where the frame is keyed so; null where there is none.
struct Companions {
  std::shared_ptr<const Image> garbage;     // forced transparent where it is white
  std::shared_ptr<const Image> holdout;     // forced opaque where it is white; garbage overrides it
  std::shared_ptr<const Image> background;  // of the composite
};

// What the frame is keyed against, asked once it is keyed; null, or no function at all: the engine's own estimate.
using PlateOf = std::function<std::shared_ptr<const Plate>(const Image& source)>;

// What is known of the clip that the frame is keyed with.
struct ClipKnowledge {
  PlateOf plate{};
  std::shared_ptr<const refine::Materials> materials{};  // null: those of the frame alone
};

// Works on one frame at a time; each thread needs one of its own. Its pictures are used over and over: fresh memory of
// that size costs more than a conversion does.
class FrameKeyer {
 public:
  explicit FrameKeyer(const ClipKeying& keying)
      : converter_(keying.converter()),
        format_(keying.deep() ? PixelFormat::RgbaF32 : PixelFormat::Argb8),
        scan_(keying.fields() ? Scan::Fields : Scan::Whole) {}

  // Threads that deep frames' rows may be shared out over from now on; null: the calling one alone.
  void share(const Workers* workers) { workers_ = workers; }

  // Takes the frame, which is then converted; views are made when they are asked for.
  void begin(const AVFrame& frame, const KeySettings& settings, const Companions& companions, ClipKnowledge known = {});
  // Likewise with a picture that is converted already; of 8 bits or, where the keying is deep, of either depth.
  void begin(std::shared_ptr<const Image> source, const KeySettings& settings, const Companions& companions,
             ClipKnowledge known = {});
  // Valid until the next call. The composite needs a background.
  const Image& view(ShownView shown);
  // Of the frame's matte, once the status was viewed.
  const MatteStatus& status() const { return status_; }
  // What the frames held that is no light, since the beginning.
  const OddValues& oddValues() const { return converter_.oddValues(); }

 private:
  void prepare(const KeySettings& settings, const Companions& companions, ClipKnowledge known);
  const Image& source() const { return given_ ? *given_ : converted_; }
  const Image& keyed();
  const Image& plate();
  // Calls `renderer` with the options of this frame.
  template <class Renderer>
  void withOptions(Renderer renderer);
  Frame emptyView();  // of the source's size

  bool isDeep() const { return format_ == PixelFormat::RgbaF32; }

  FrameConverter converter_;
  PixelFormat format_;  // of what is keyed
  Scan scan_;
  const Workers* workers_ = nullptr;
  KeySettings settings_{};
  Companions companions_;
  ClipKnowledge known_;                 // its plate until that was asked
  std::shared_ptr<const Plate> plate_;  // what it gave
  std::shared_ptr<const Image> given_;  // the source, where it came as a picture
  Image converted_, keyed_, view_;
  MatteStatus status_;
  bool isKeyed_ = false;
};

}  // namespace kalvetra
