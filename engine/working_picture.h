// Pictures in working order, as the pipeline takes them.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "engine/background_plate.h"
#include "engine/render.h"

namespace kalvetra {

// A packed picture in working order, all zeros until it is read. Throws std::bad_alloc.
class WorkingPicture {
 public:
  WorkingPicture(int width, int height);
  // Of the frame's size.
  explicit WorkingPicture(const ConstFrame& like) : WorkingPicture(like.width, like.height) {}

  // Takes a straight frame of its size; for a blue screen with blue and green in each other's place.
  void read(const ConstFrame& frame, bool blueScreen) const;
  void swapBlueAndGreen() const;

  std::size_t rowPixels() const { return rowPixels_; }
  std::size_t pixels() const { return pixels_; }
  unsigned char* data() const { return bytes_.get(); }
  unsigned char* row(int y) const { return data() + static_cast<std::size_t>(y) * rowPixels_ * kPixelBytes; }

 private:
  std::size_t rowPixels_, pixels_;
  std::unique_ptr<unsigned char[]> bytes_;
};

// The plate that the options give; null where the engine has to make one of its own.
const KnownPlate* givenPlate(const RenderOptions& options);

// That plate as the pipeline takes it. Throws std::bad_alloc.
class WorkingPlate {
 public:
  WorkingPlate(const RenderOptions& options, bool blueScreen);
  const GivenPlate* given() const { return working_ ? &given_ : nullptr; }

 private:
  std::optional<WorkingPicture> working_;
  GivenPlate given_{};
};

}  // namespace kalvetra
