// Pictures as plates are made from them: smaller, and of a green screen.
#pragma once

#include "engine/frame.h"
#include "plates/plate.h"

namespace kalvetra::plates {

// A picture of another size, in one of plateFormat()'s formats, straight, with its alpha. Every pixel is the mean of
// those that it covers, where the picture is larger; nothing is left out at the borders.
Plate resized(const ConstFrame& picture, int width, int height, PixelFormat format);

// Whether a screen is blue. It is then worked on as a green one, green and blue changing places on the way in and out,
// as they do in the key.
bool isBlue(const Plate& plate);
void swapGreenAndBlue(Plate& plate);

}  // namespace kalvetra::plates
