// Transfer curves of whole rows, from + - * / alone: one text for every instruction set, with the same bytes on each.
#pragma once

namespace kalvetra::simd {

enum class Curve { SrgbFromLight, LightFromSrgb, LightFromBt709, LightFromPq, SceneFromHlg, FifthRoot };

// Of the values without their signs, which come back; within 1e-12 of the exact curve before they become floats.
void bendRow(Curve curve, const double* values, float* out, int count);

}  // namespace kalvetra::simd
