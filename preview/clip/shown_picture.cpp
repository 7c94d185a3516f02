#include "preview/clip/shown_picture.h"

#include "deep/render.h"

namespace kalvetra {

Image inEightBits(const ConstFrame& picture) {
  Image bytes(picture.width, picture.height);
  toEightBits(picture, bytes.frame());
  return bytes;
}

}  // namespace kalvetra
