// Views of the clip's frames, as `kalvetra key` makes them.
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <vector>

#include "jobs/clip_plates.h"
#include "jobs/lent_threads.h"
#include "preview/clip/byte_pool.h"
#include "preview/clip/clip_frames.h"
#include "preview/clip/clip_mattes.h"

namespace kalvetra {

// What is to be keyed.
struct KeyedFrame {
  std::int64_t number = 0;
  int scale = 1;  // 1, 2 or 4: the frame is averaged down to 1:scale before it is keyed
  KeySettings settings{};
  bool deep = false;                           // keyed at full depth
  std::shared_ptr<const ClipPlates> plates{};  // that go with the settings and the depth; null: the engine's own
};

// Turned upright, as the clip's display matrix asks. In 8 bits at any depth.
struct RenderedView {
  int width = 0, height = 0;
  std::shared_ptr<const Bytes> rgba;  // straight alpha, rows packed
  MatteStatus status;                 // of the view Status
};

class Renderer {
 public:
  // Both must outlive this. Deep pictures' rows are keyed on so many threads.
  Renderer(ClipFrames& clip, ClipMattes& mattes, int threads) : clip_(clip), mattes_(mattes), threads_(threads) {}

  // At scale 1 exactly the pixels of `kalvetra key`, which are keyed before they are turned; those of a deep key
  // rounded. `background` is that of the composite, of the clip's size and the key's depth. Throws like
  // ClipFrames::picture.
  RenderedView view(const KeyedFrame& keyed, ShownView shown, const std::shared_ptr<const Image>& background,
                    const Abandon& abandoned);

  // The backdrop that it is keyed against, in host order, in 8 bits.
  Image plate(const KeyedFrame& keyed);

  // One pixel of all of them: red, green, blue and alpha in levels, 0..255 nominal; whole ones unless it is keyed deep.
  // x and y are those of the stored picture.
  struct Pixel {
    std::array<double, 4> source, plate, result;
  };
  Pixel pixel(const KeyedFrame& keyed, int x, int y);

  // A picture that lies as the clip's stored ones do, as it is sent: upright.
  RenderedView packed(const Image& stored);

 private:
  // A keyer with what it has keyed last.
  struct Desk {
    FrameKeyer keyer;
    bool fields, deep;
    std::shared_ptr<const Image> source{};
    Companions mattes{};
    KeySettings settings{};
    std::shared_ptr<const ClipPlates> plates{};
    Image view{};
  };
  static constexpr std::size_t kMostReduced = std::size_t{256} << 20;  // bytes

  using DeskPtr = std::unique_ptr<Desk>;
  // A desk in use; goes back by itself.
  class Seat;

  std::shared_ptr<const Image> reduced(const std::shared_ptr<const Image>& full, int scale);
  Companions reduced(const Companions& mattes, int scale);
  DeskPtr takeDesk(const KeyedFrame& keyed, const Abandon& abandoned);
  void giveBack(DeskPtr desk);

  ClipFrames& clip_;
  ClipMattes& mattes_;
  LentThreads threads_;
  BytePool pool_;
  std::mutex mutex_;            // of what follows
  std::vector<DeskPtr> desks_;  // at rest, the latest used last
  using FullAndScale = std::pair<std::shared_ptr<const Image>, int>;
  RecentlyUsed<FullAndScale, std::shared_ptr<const Image>> reduced_{kMostReduced};
};

}  // namespace kalvetra
