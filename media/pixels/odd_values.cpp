#include "media/pixels/odd_values.h"

namespace kalvetra {

std::string describe(const OddValues& values) {
  const auto counted = [](std::int64_t count, const std::string& one, const std::string& more) {
    return count == 0 ? std::string() : std::to_string(count) + (count == 1 ? one : more);
  };
  const std::string noNumbers = counted(values.noNumbers, " value is no number (NaN) and counts as 0",
                                        " values are no numbers (NaN) and count as 0");
  const std::string infinities =
      counted(values.infinities, " value is infinite and counts as 65504", " values are infinite and count as 65504");
  return noNumbers + (noNumbers.empty() || infinities.empty() ? "" : ", ") + infinities;
}

}  // namespace kalvetra
