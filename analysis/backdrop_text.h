// What is said to users about a backdrop.
#pragma once

#include <string>

#include "analysis/backdrop_paint.h"

namespace kalvetra {

inline constexpr double kLeastShare = 0.05;  // of the picture, that a backdrop has to be

// A whole sentence about the backdrop that was found.
std::string backdropText(const paint::Paint& paint, const paint::Look& look, double unevenness, double confidence);

// Further sentences, each with a space before it. Together with the first they stay below 256 characters.
std::string secondBackdropText(const paint::Paint& paint, const paint::Look& look);
std::string wornBlueText(double share);

// Without its stop: that none was found, and what is likeliest if anything is.
std::string noBackdropText(const paint::Paint& paint, const paint::Look& look);

// A whole sentence: that only `share` of the picture is of a colour that was named.
std::string smallScreenText(double share);

}  // namespace kalvetra
