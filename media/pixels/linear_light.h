// 8-bit code values as linear light.
#pragma once

#include <array>

#include "media/ffmpeg.h"

namespace kalvetra {

// Light 0..1 of every code value 0..255 under a transfer function: the inverse of the camera curve of BT.709 for it
// and its like (BT.601, BT.2020, xvYCC), the inverse of the sRGB curve for sRGB, code / 255 for linear pictures.
// Throws UserError for any other.
std::array<float, 256> linearLight(AVColorTransferCharacteristic transfer);

}  // namespace kalvetra
