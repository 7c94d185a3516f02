// Whether vector forms are in use.
#pragma once

namespace hwy {
struct ChosenTarget;
}

namespace kalvetra::simd {

// False at level Scalar, where the plain routines run.
bool enabled();

// The instruction set of the level in use.
const hwy::ChosenTarget& chosenTarget();

}  // namespace kalvetra::simd
