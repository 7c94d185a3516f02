// Deep pictures as the page shows and counts them.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// In 8 bits, host order: rounded, and cut off below 0 and above white. `picture` is deep.
Image inEightBits(const ConstFrame& picture);

}  // namespace kalvetra
