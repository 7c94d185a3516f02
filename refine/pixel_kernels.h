// The work on single pixels, at the CPU level in use.
#pragma once

#include <array>
#include <cstddef>

#include "deep/rows.h"

namespace kalvetra::refine {

// What is summed up over the pixels of a cell.
struct CellSum {
  enum Name {
    kColor,  // red, green, blue
    kAlpha = 3,
    kUnmixed,  // three
    kUnmixedWeight = 7,
    kOpaque,  // three
    kOpaqueWeight = 11,
    kOpaqueTone,
    kOpaqueLuma,
    kResidual,
    kClear,
    kCount
  };
};

// Planes of a row: of a sum, or of a field.
template <std::size_t kPlanes>
class PlaneRows {
 public:
  explicit PlaneRows(int width) : memory_(width, static_cast<int>((kPlanes + 3) / 4)) {
    for (std::size_t i = 0; i < kPlanes; ++i) {
      const deep::Row row = memory_.row(static_cast<int>(i / 4));
      rows_[i] = std::array{row.red, row.green, row.blue, row.alpha}[i % 4];
    }
  }
  float* operator[](std::size_t plane) const { return rows_[plane]; }

 private:
  deep::RowBuffer memory_;
  std::array<float*, kPlanes> rows_;
};

using SumRows = PlaneRows<CellSum::kCount>;

// Adds a row's pixels to `sums`, pixel by pixel, and takes the least alphas into `least`. `keyed`: four floats a pixel,
// in the frame's order of colours. Up to the next multiple of RowBuffer::kWholeVectors sums hold anything.
void addRow(const deep::ConstRow& source, const deep::ConstRow& plate, const float* keyed, bool blueScreen,
            std::size_t pixels, const SumRows& sums, float* least);

// What the surroundings say of each pixel: see fields.h.
struct FieldName {
  enum Name {
    kSolid,       // colour of the solid subject nearby, read where it is deep: red, green, blue
    kNear = 3,    // of what is nearly unmixed close by
    kWide = 6,    // and farther around
    kRim = 9,     // of what the engine keys opaque nearby
    kNoise = 12,  // of a channel, levels
    kTone,        // chroma along the screen's over luma, of the engine's opaque colours nearby
    kReach,       // 0..1: how much solid subject there is nearby
    kFree,        // 0..1: 0 deep inside what is opaque and far out in what is clear
    kOpen,        // 0..1: 0 where all around is opaque
    kCount
  };
};

using FieldRows = PlaneRows<FieldName::kCount>;

// What holds for a whole frame.
struct AlphaRules {
  bool blueScreen;
  float keepsShadows;        // 0..1: how far what looks like a shadow is left to the engine
  float nothing, nothingTo;  // alphas up to the one become 0, those from the other on stay
  float all, allTo;          // the same for what is missing to 1
};

// Blends pixels first..end - 1 of a row of four floats a pixel, straight, with what the surroundings make of them.
// `first` is a multiple of RowBuffer::kWholeVectors.
void refineRun(const AlphaRules& rules, const deep::ConstRow& source, const deep::ConstRow& plate,
               const FieldRows& fields, float* keyed, std::size_t first, std::size_t end);

}  // namespace kalvetra::refine
