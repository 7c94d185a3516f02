// Pictures as plates are made from them: smaller, and of a green screen.
#pragma once

#include <vector>

#include "engine/frame.h"
#include "plates/plate.h"

namespace kalvetra::plates {

// Packed straight Argb8 of another size. Every pixel is the mean of those that it covers, where the picture is larger;
// nothing is left out at the borders.
std::vector<unsigned char> resized(const ConstFrame& picture, int width, int height);

// Whether a screen is blue. It is then worked on as a green one, green and blue changing places on the way in and out,
// as they do in the key.
bool isBlue(const Plate& plate);
void swapGreenAndBlue(std::vector<unsigned char>& argb);

}  // namespace kalvetra::plates
