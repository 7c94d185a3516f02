// The backdrop of any one frame of a shot, from estimates made at a few of its frames.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/frame.h"
#include "plates/cells.h"
#include "plates/fit.h"
#include "plates/plate.h"

namespace kalvetra {

struct FollowedPlate {
  std::shared_ptr<const Plate> plate;  // null where the frame does not fit
  float fit = 0.0f;   // 0..1; 0: another shot, or a camera elsewhere; below 1 the plate counts by that share alone
  plates::Tint tint;  // its light, as applied to the plate
};

// The plates of a shot, or of a clip of several shots, in the order of time. Not changed once made: at() may be called
// for any frames in any order and on any threads, and gives the same bytes.
class PlateRow {
 public:
  struct Estimate {
    std::int64_t frame;  // its number in the clip
    FittedPlate fitted;
  };

  // One plate for all frames, that was judged for the whole shot: it fits any frame.
  explicit PlateRow(std::shared_ptr<const Plate> plate);

  // From estimates of different frames, all of one size, in any order. Those of a shot that agree become one plate,
  // less noisy than each. Where they drift, it is interpolated between them; not across a jump, which is a cut.
  // Estimates that are not sure count only where no other is.
  explicit PlateRow(std::vector<Estimate> estimates);

  // The plate of a frame, in its light. Where that is steady, the shared plate itself; otherwise one of its own. A
  // frame that shows next to nothing of the screen gets the plate as it is. Well under a millisecond but for writing a
  // plate of its own. Throws std::bad_alloc.
  FollowedPlate at(std::int64_t frame, const ConstFrame& picture) const;

  // Shots between jumps.
  std::size_t shots() const { return stretches_.size(); }
  // Frames half-way between estimates that lie too far apart to be interpolated well: what to estimate next, and then
  // to make a new row of all. None where the shots are steady.
  const std::vector<std::int64_t>& wanted() const { return wanted_; }

 private:
  struct Known {
    std::int64_t frame;
    std::shared_ptr<const Plate> plate;
    plates::Cells cells;
  };
  struct Stretch {
    std::int64_t first, last;   // frames that its estimates come from
    std::vector<Known> plates;  // one, or one for each estimate
  };
  struct Candidate;

  Candidate tried(const Stretch& stretch, std::int64_t frame, const plates::Cells& cells) const;
  void addStretch(const std::vector<const Estimate*>& estimates);

  std::vector<Stretch> stretches_;
  std::vector<std::int64_t> wanted_;
  bool isGiven_ = false;  // no estimate: judged for the whole shot before
};

}  // namespace kalvetra
