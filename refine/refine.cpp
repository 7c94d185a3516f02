#include "refine/refine.h"

#include <algorithm>

#include "engine/render_record.h"

namespace kalvetra::refine {

namespace {

bool hasPixels(const ConstFrame& frame) { return frame.data != nullptr && frame.width > 0 && frame.height > 0; }

// One picture, or a field of one; of the same size.
void refinePicture(const RefineInput&, const ConstFrame&, const Frame&, const Workers*) {}

}  // namespace

void refineKey(const RefineInput& input, const Frame& keyed, const Workers* workers) {
  const KeySettings& settings = input.settings;
  if (settings.refine == 0 || settings.smoothBG == 0 || !keysSomething(settings)) return;
  if (input.plate == nullptr || !hasPixels(input.plate->picture)) return;
  ConstFrame source = input.source;
  Frame result = keyed;
  source.width = result.width = std::min(source.width, result.width);
  source.height = result.height = std::min(source.height, result.height);
  if (!hasPixels(source) || !hasPixels(result)) return;
  if (input.scan == Scan::Whole) return refinePicture(input, source, result, workers);
  for (int i = 0; i < std::min(2, source.height); ++i) {
    refinePicture(input, fieldOf(source, i), fieldOf(result, i), workers);
  }
}

}  // namespace kalvetra::refine
