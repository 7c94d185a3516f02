// How a vector form finds its instruction set. For the .cpp files of the simd folders alone, after hwy/highway.h.
#pragma once

#include "cpu/vectors.h"

// The exported function `f` for the level in use. Only where simd::enabled(): below that level Highway has no vectors.
#if (HWY_TARGETS & (HWY_TARGETS - 1)) == 0  // compiled for one instruction set alone
#define KALVETRA_VECTOR_FORM(f) HWY_STATIC_DISPATCH(f)
#else
#define KALVETRA_VECTOR_FORM(f) (*HWY_DISPATCH_TABLE(f)[::kalvetra::simd::chosenTarget().GetIndex()])
#endif
