// The number of the keyer's look.
#pragma once

namespace kalvetra {

// Presets hold the look that they were made with. Raise this by one whenever any frame with any settings gives other
// bytes than before, be it a single level in one pixel: a corrected formula, another order of the passes, another
// default. What leaves every byte as it was does not raise it: speed, new parameters that do nothing at their default.
// tests/parameters/look_test.cpp watches this on reference frames and says how to record new ones.
inline constexpr int kLookVersion = 1;

// The look of the key at full depth, which has a number of its own: raised likewise, when any float of any frame
// changes. Presets and receipts of a run at full depth hold both.
inline constexpr int kDeepLookVersion = 1;

}  // namespace kalvetra
