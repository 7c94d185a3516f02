// Views of the clip's frames, as `kalvetra key` makes them.
#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include "jobs/clip_plates.h"
#include "preview/clip/byte_pool.h"
#include "preview/clip/clip_frames.h"
#include "preview/clip/clip_mattes.h"

namespace kalvetra {

// What is to be keyed.
struct KeyedFrame {
  std::int64_t number = 0;
  int scale = 1;  // 1, 2 or 4: the frame is averaged down to 1:scale before it is keyed
  KeySettings settings{};
  std::shared_ptr<const ClipPlates> plates{};  // that go with the settings; null: the engine's own
};

// Turned upright, as the clip's display matrix asks.
struct RenderedView {
  int width = 0, height = 0;
  std::shared_ptr<const Bytes> rgba;  // straight alpha, rows packed
  MatteStatus status;                 // of the view Status
};

class Renderer {
 public:
  // Both must outlive this.
  Renderer(ClipFrames& clip, ClipMattes& mattes) : clip_(clip), mattes_(mattes) {}

  // At scale 1 exactly the pixels of `kalvetra key`, which are keyed before they are turned. `background` is that of
  // the composite, of the clip's size. Throws like ClipFrames::picture.
  RenderedView view(const KeyedFrame& keyed, ShownView shown, const std::shared_ptr<const Image>& background,
                    const Abandon& abandoned);

  // The backdrop that it is keyed against, in host order.
  Image plate(const KeyedFrame& keyed);

  // One pixel of all of them, in host order (alpha, red, green, blue). x and y are those of the stored picture.
  struct Pixel {
    unsigned char source[4], plate[4], result[4];
  };
  Pixel pixel(const KeyedFrame& keyed, int x, int y);

  // A picture that lies as the clip's stored ones do, as it is sent: upright.
  RenderedView packed(const Image& stored);

 private:
  // A keyer with what it has keyed last.
  struct Desk {
    FrameKeyer keyer;
    bool fields;
    std::shared_ptr<const Image> source{};
    Companions mattes{};
    KeySettings settings{};
    std::shared_ptr<const ClipPlates> plates{};
    Image view{};
  };
  static constexpr std::size_t kMostReduced = 8;  // pictures

  using DeskPtr = std::unique_ptr<Desk>;
  // A desk in use; goes back by itself.
  class Seat;

  std::shared_ptr<const Image> reduced(const std::shared_ptr<const Image>& full, int scale);
  Companions reduced(const Companions& mattes, int scale);
  DeskPtr takeDesk(const KeyedFrame& keyed, const Abandon& abandoned);
  void giveBack(DeskPtr desk);

  ClipFrames& clip_;
  ClipMattes& mattes_;
  BytePool pool_;
  std::mutex mutex_;            // of what follows
  std::vector<DeskPtr> desks_;  // at rest, the latest used last
  using FullAndScale = std::pair<std::shared_ptr<const Image>, int>;
  RecentlyUsed<FullAndScale, std::shared_ptr<const Image>> reduced_{kMostReduced};
};

}  // namespace kalvetra
