// Powers and logarithms from + - * / alone, so that light has the same bits on every machine; the mathematical
// library's own differ in the last ones.
#pragma once

#include <bit>
#include <cstdint>

namespace kalvetra {

// Of a positive normal number; off by at most 1e-12 of 1 or of the result, whichever is more.
inline double log2Of(double x) {
  constexpr std::int64_t kRootOfHalf = 0x3FE6A09E667F3BCD;
  const auto bits = std::bit_cast<std::int64_t>(x);
  const std::int64_t exponent = (bits - kRootOfHalf) >> 52;
  const double m = std::bit_cast<double>(bits - exponent * (std::int64_t{1} << 52));  // from root of 1/2 to root of 2
  const double t = (m - 1.0) / (m + 1.0), s = t * t;                                  // log m = 2 artanh t
  const double series =
      1.0 +
      s * (1.0 / 3 + s * (1.0 / 5 + s * (1.0 / 7 + s * (1.0 / 9 + s * (1.0 / 11 + s * (1.0 / 13 + s * (1.0 / 15)))))));
  constexpr double kTwoOverLog2 = 2.8853900817779268147;
  return static_cast<double>(static_cast<std::int32_t>(exponent)) + kTwoOverLog2 * t * series;
}

// 2 to that power, off by at most 1e-12 of it. -1000..1000.
inline double exp2Of(double power) {
  constexpr double kRounding = 0x1.8p52;  // added, it leaves the nearest whole number in the lowest bits
  const double sum = power + kRounding;
  const double x = (power - (sum - kRounding)) * 0.69314718055994530942;  // within half of log 2
  double series = 1.0;
  series = 1.0 + x / 11 * series;
  series = 1.0 + x / 10 * series;
  series = 1.0 + x / 9 * series;
  series = 1.0 + x / 8 * series;
  series = 1.0 + x / 7 * series;
  series = 1.0 + x / 6 * series;
  series = 1.0 + x / 5 * series;
  series = 1.0 + x / 4 * series;
  series = 1.0 + x / 3 * series;
  series = 1.0 + x / 2 * series;
  series = 1.0 + x * series;
  const std::uint64_t whole = std::bit_cast<std::uint64_t>(sum) + 1023;
  return series * std::bit_cast<double>(whole << 52);
}

// Of a positive normal number.
inline double powerOf(double base, double exponent) { return exp2Of(exponent * log2Of(base)); }

}  // namespace kalvetra
