#include "media/pixels/upright.h"

#include <utility>

namespace kalvetra {

PictureFormat uprightFormat(const PictureFormat& stored) {
  PictureFormat upright = stored;
  upright.displayMatrix.reset();
  if (stored.quarterTurns() != 0) upright.fieldOrder = FieldOrder::Progressive;
  if (stored.quarterTurns() % 2 != 0) {
    std::swap(upright.width, upright.height);
    upright.pixelAspect = av_inv_q(stored.pixelAspect);
  }
  return upright;
}

}  // namespace kalvetra
