// How a vector form finds its instruction set. For the .cpp files of the simd folders alone, after hwy/highway.h.
#pragma once

#include "cpu/vectors.h"

// The exported function `f` for the level in use. Only where simd::enabled(): below that level Highway has no vectors.
#if (HWY_TARGETS & (HWY_TARGETS - 1)) == 0  // compiled for one instruction set alone
#define KALVETRA_VECTOR_FORM(f) HWY_STATIC_DISPATCH(f)
#else
#define KALVETRA_VECTOR_FORM(f) (*HWY_DISPATCH_TABLE(f)[::kalvetra::simd::chosenTarget().GetIndex()])
#endif

// The exported function `f` of a routine that has one form for all levels: at level Scalar that of the least
// instruction set, with vectors that the compiler makes of plain code where there are none.
#define KALVETRA_ONE_FORM(f) (::kalvetra::simd::enabled() ? &KALVETRA_VECTOR_FORM(f) : &HWY_STATIC_DISPATCH(f))
