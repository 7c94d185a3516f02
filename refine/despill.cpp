#include "refine/despill.h"

#include <algorithm>

#include "deep/backdrop.h"
#include "engine/KalvetraFinalCut.h"
#include "engine/pipeline.h"
#include "engine/render_record.h"
#include "refine/cells.h"
#include "refine/spill.h"

namespace kalvetra::refine {

namespace {

// Calls work(source, keyed) for the picture or each of its fields, of one size and not empty.
template <class AnyFrame, class Work>
void forPictures(const RefineInput& input, AnyFrame keyed, const Work& work) {
  ConstFrame source = input.source;
  source.width = keyed.width = std::min(source.width, keyed.width);
  source.height = keyed.height = std::min(source.height, keyed.height);
  if (source.width < 1 || source.height < 1 || !keysSomething(input.settings)) return;
  if (!valuesInRange(makeRecord(input.settings, nullptr, nullptr, source.width, source.height))) return;
  if (input.scan == Scan::Whole) return work(source, keyed);
  for (int i = 0; i < std::min(2, source.height); ++i) work(fieldOf(source, i), fieldOf(keyed, i));
}

deep::Backdrop backdropOf(const RefineInput& input, const ConstFrame& source, const Workers* workers) {
  const bool isGiven = input.plate != nullptr && input.plate->picture.width > 0 && input.plate->picture.height > 0;
  return {source, keysBlue(input.settings), makeRecord(input.settings, nullptr, nullptr, source.width, source.height),
          isGiven ? input.plate : nullptr, workers};
}

}  // namespace

void lookAt(const RefineInput& input, const ConstFrame& keyed, MaterialGathering& gathering, const Workers* workers) {
  forPictures(input, keyed, [&](const ConstFrame& source, const ConstFrame& picture) {
    const deep::Backdrop backdrop = backdropOf(input, source, workers);
    gathering.add(cellsOf(source, backdrop, picture, keysBlue(input.settings), workers));
  });
}

void despillByMaterial(const RefineInput& input, const Frame& keyed, const Materials* shot, const Workers* workers) {
  if (input.settings.despill == 0) return;
  forPictures(input, keyed, [&](const ConstFrame& source, const Frame& picture) {
    const bool blueScreen = keysBlue(input.settings);
    const deep::Backdrop backdrop = backdropOf(input, source, workers);
    const Cells cells = cellsOf(source, backdrop, picture, blueScreen, workers);
    Materials own;
    if (shot == nullptr) {
      MaterialGathering gathering;
      gathering.add(cells);
      own = gathering.gather();
    }
    const SpillField field = spillOf(cells, shot == nullptr ? own : *shot, input.settings, workers);
    removeSpill(source, backdrop, field, blueScreen, picture, workers);
  });
}

}  // namespace kalvetra::refine
