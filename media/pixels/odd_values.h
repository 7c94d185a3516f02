// Values in floating point that are no light.
#pragma once

#include <cstdint>
#include <string>

namespace kalvetra {

// How many samples of deep pictures had to be replaced.
struct OddValues {
  std::int64_t noNumbers = 0;   // taken for 0
  std::int64_t infinities = 0;  // taken for 65504 or -65504

  OddValues& operator+=(const OddValues& more) {
    noNumbers += more.noNumbers;
    infinities += more.infinities;
    return *this;
  }
  OddValues operator-(const OddValues& less) const {
    return {noNumbers - less.noNumbers, infinities - less.infinities};
  }
  bool any() const { return noNumbers + infinities > 0; }
};

// A sentence about them for people: "3 values are no numbers (NaN) and count as 0, 1 is infinite and counts as 65504".
// Empty without any.
std::string describe(const OddValues& values);

}  // namespace kalvetra
