// English display names.
#pragma once

#include <string_view>

#include "parameters/parameter_table.h"

namespace kalvetra {

// Name keys are the English display name behind this, so that no second list of names is needed.
inline constexpr std::string_view kNameKeyPrefix = "KalvetraGreen::";

constexpr std::string_view englishLabel(const char* nameKey) {
  return std::string_view(nameKey).substr(kNameKeyPrefix.size());
}

}  // namespace kalvetra
