// Compares what a pass makes at each CPU level with what the plain routines make.
#pragma once

#include <optional>
#include <string>

#include "bench/passes.h"
#include "tests/equality/pictures.h"

namespace kalvetra::test {

// One input, and where in memory it lies.
struct Case {
  bench::Size size;
  Picture picture;
  Picture plate = Picture::Uniform;  // for a pass that takes one
  std::size_t offset = 0;            // bytes of every image from a multiple of 16
  std::size_t guard = 256;           // bytes watched before and after every image; 0 lets sanitizers see the ends
  std::uint64_t seed = 1;
};

// The first byte that differs from level Scalar at any level, or that no level may write: guards, an unchangeable
// source or plate. Nothing where all is equal. The level in use is the same before and after.
std::optional<std::string> difference(const bench::Pass& pass, const bench::Setting& setting, const Case& c);

// The same on a sample of cases: every width up to 70 at small heights, and some larger sizes, the settings in turn.
std::optional<std::string> differenceOnSizes(const bench::Pass& pass);

// The same for one setting on each of the 2^24 colours.
std::optional<std::string> differenceOnColors(const bench::Pass& pass, const bench::Setting& setting);

}  // namespace kalvetra::test
