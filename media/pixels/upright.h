// Pictures as they are shown: turned as their display matrix asks.
#pragma once

#include "media/picture.h"

namespace kalvetra {

// What `stored` becomes once its pictures are turned upright: sideways ones swap width and height, no display matrix is
// left, and rows that were turned are no fields any more.
PictureFormat uprightFormat(const PictureFormat& stored);

}  // namespace kalvetra
