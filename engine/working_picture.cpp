#include "engine/working_picture.h"

#include <utility>

#include "engine/pixel_formats.h"
#include "engine/render_record.h"
#include "imaging/memory.h"
#include "imaging/numeric.h"

namespace kalvetra {

WorkingPicture::WorkingPicture(int width, int height)
    : rowPixels_(static_cast<std::size_t>(width)),
      pixels_(byteCount(width, height)),
      bytes_(std::make_unique<unsigned char[]>(pixels_ * kPixelBytes)) {}

void WorkingPicture::read(const ConstFrame& frame, bool blueScreen) const {
  const auto argb = uninitialized<unsigned char>(rowPixels_ * kPixelBytes);
  for (int y = 0; y < frame.height; ++y) {
    readRow(frame, y, argb.get());
    reverseBytes(argb.get(), row(y), rowPixels_);
  }
  if (blueScreen) swapBlueAndGreen();
}

void WorkingPicture::swapBlueAndGreen() const {
  for (std::size_t i = 0; i < pixels_; ++i) std::swap(data()[i * kPixelBytes], data()[i * kPixelBytes + 1]);
}

const KnownPlate* givenPlate(const RenderOptions& options) {
  if (options.plate == nullptr) return nullptr;
  const ConstFrame& picture = options.plate->picture;
  return picture.data == nullptr || picture.width < 1 || picture.height < 1 ? nullptr : options.plate;
}

WorkingPlate::WorkingPlate(const RenderOptions& options, bool blueScreen) {
  const KnownPlate* plate = givenPlate(options);
  if (plate == nullptr) return;
  ConstFrame picture = plate->picture;
  picture.premultiplied = false;
  working_.emplace(picture);
  working_->read(picture, blueScreen);
  given_ = {working_->data(), picture.width, picture.height};
}

}  // namespace kalvetra
