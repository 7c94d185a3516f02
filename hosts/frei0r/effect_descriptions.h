// What editors read to show the filter with its groups, ranges, defaults and a colour picker.
#pragma once

#include <string>

namespace kalvetra {

// An effect of Kdenlive, in its XML.
std::string kdenliveEffect();

// A filter of Shotcut: its entry in the list of filters, and its panel; both in QML.
std::string shotcutFilter();
std::string shotcutPanel();

}  // namespace kalvetra
