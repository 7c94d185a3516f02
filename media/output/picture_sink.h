// Where keyed pictures go.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "media/output/picture_hash.h"

namespace kalvetra {

// What a sink has made of a picture before its turn to be written comes: nothing, planes for an encoder, or a hash.
using PackedPicture = std::variant<std::monostate, FramePtr, PictureHash>;

// Where a picture belongs.
struct PicturePlace {
  std::int64_t time = 0;  // and duration: in the source's video time base
  std::int64_t duration = 0;
  int number = 1;  // of its file, in a numbered sequence
};

class PictureSink {
 public:
  virtual ~PictureSink() = default;

  // The part of the work that needs no order. May be called from several threads at once; the picture stays the
  // caller's.
  virtual PackedPicture pack(const Image& image) const = 0;
  // Takes what pack() gave, in the clip's order: times and numbers grow.
  virtual void write(PackedPicture picture, const PicturePlace& place) = 0;
  // Sees packets that the source delivered, for this sink or for another of the same source.
  virtual void writeCopied(const std::vector<PacketPtr>& /*packets*/) {}
  // Makes everything written so far durable, where the sink can go on with it in another run.
  virtual void checkpoint() {}
  // Completes the output; only then may it be put in its place.
  virtual void finish() = 0;
};

// Throws every picture away, to measure what keying costs.
class NullSink : public PictureSink {
 public:
  PackedPicture pack(const Image& /*image*/) const override { return {}; }
  void write(PackedPicture /*picture*/, const PicturePlace& /*place*/) override {}
  void finish() override {}
};

}  // namespace kalvetra
