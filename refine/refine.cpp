#include "refine/refine.h"

#include <algorithm>
#include <vector>

#include "deep/backdrop.h"
#include "deep/keyed_pictures.h"
#include "engine/bands.h"
#include "engine/render_record.h"
#include "refine/fields.h"
#include "refine/pixel_kernels.h"

namespace kalvetra::refine {

namespace {

bool hasPixels(const ConstFrame& frame) { return frame.data != nullptr && frame.width > 0 && frame.height > 0; }

// Values of cells at the pixels of a row, linear between the cells' middles.
class CellRow {
 public:
  CellRow(const CellMeans& cells, int width) : side_(cells.side), cellsAcross_(cells.alpha.width) {
    for (int x = 0; x < width; ++x) {
      const float at = (static_cast<float>(x) + 0.5f) / static_cast<float>(side_) - 0.5f;
      const float clamped = std::clamp(at, 0.0f, static_cast<float>(cellsAcross_ - 1));
      low_.push_back(std::min(static_cast<int>(clamped), std::max(cellsAcross_ - 2, 0)));
      part_.push_back(clamped - static_cast<float>(low_.back()));
    }
    between_.resize(static_cast<std::size_t>(cellsAcross_) + 1);
  }

  // Pixels first..end - 1 of row y.
  void at(const Plane& plane, int y, std::size_t first, std::size_t end, float* out) {
    const float v = std::clamp((static_cast<float>(y) + 0.5f) / static_cast<float>(side_) - 0.5f, 0.0f,
                               static_cast<float>(plane.height - 1));
    const int low = static_cast<int>(v), high = std::min(low + 1, plane.height - 1);
    const float part = v - static_cast<float>(low);
    const float *above = plane.row(low), *below = plane.row(high);
    const auto from = static_cast<std::size_t>(low_[first]);
    const std::size_t to = std::min(static_cast<std::size_t>(low_[end - 1]) + 2, between_.size() - 1);
    for (std::size_t i = from; i < to; ++i) between_[i] = above[i] + (below[i] - above[i]) * part;
    between_[to] = between_[to - 1];
    for (std::size_t x = first; x < end; ++x) {
      const float* two = between_.data() + low_[x];
      out[x] = two[0] + (two[1] - two[0]) * part_[x];
    }
  }

 private:
  int side_, cellsAcross_;
  std::vector<int> low_;
  std::vector<float> part_, between_;
};

// What the settings say of alphas: from a clip level on everything stays, up to it nothing does, softly between, so
// that the levels that clear a screen of its noise do not steepen edges.
AlphaRules rulesOf(const KeySettings& settings, bool keepsShadows) {
  const auto reach = [](float level) { return level + std::clamp(2.0f * level, 1e-3f, 0.1f); };
  const float black = 0.01f * static_cast<float>(settings.clipBlack);
  const float white = 0.01f * static_cast<float>(100 - settings.clipWhite);
  // A fit follows broad shadows, and what is left of them is mixed like everything else; unless they are to be
  // lightened.
  const float lightened = std::min(0.05f * static_cast<float>(100 - settings.shadow), 1.0f);
  return {keysBlue(settings), keepsShadows ? 1.0f : lightened, black, reach(black), white, reach(white)};
}

// Refines the rows of a picture, some at a time.
class RowRefiner {
 public:
  RowRefiner(const ConstFrame& source, const deep::Backdrop& backdrop, const CellMeans& cells, const Fields& fields,
             int firstRow)
      : source_(source),
        cells_(cells),
        fields_(fields),
        levels_(source.width, 1),
        plate_(backdrop, firstRow, 1),
        cellRow_(cells, source.width),
        rows_(source.width) {}

  void refine(const AlphaRules& rules, int y, float* keyed) {
    const deep::ConstRow plate = plate_.row(y);
    const Plane& free = fields_[FieldName::kFree];
    bool isLoaded = false;
    for (int first = 0; first < free.width;) {
      if (!isFree(first, y / cells_.side)) {
        ++first;
        continue;
      }
      int end = first + 1;
      while (end < free.width && isFree(end, y / cells_.side)) ++end;
      if (!isLoaded) deep::loadRow(source_, y, rules.blueScreen, levels_.row(0));
      isLoaded = true;
      refineCells(rules, y, first, end, plate, keyed);
      first = end;
    }
  }

 private:
  // Whether anything can change in that cell: its pixels lie between it and its neighbours.
  bool isFree(int cx, int cy) const {
    const Plane& free = fields_[FieldName::kFree];
    for (int y = std::max(cy - 1, 0); y <= std::min(cy + 1, free.height - 1); ++y) {
      for (int x = std::max(cx - 1, 0); x <= std::min(cx + 1, free.width - 1); ++x) {
        if (free.row(y)[x] > 0.0f) return true;
      }
    }
    return false;
  }

  void refineCells(const AlphaRules& rules, int y, int firstCell, int endCell, const deep::ConstRow& plate,
                   float* keyed) {
    constexpr std::size_t kVector = deep::RowBuffer::kWholeVectors;
    const std::size_t first = static_cast<std::size_t>(firstCell * cells_.side) / kVector * kVector;
    const auto end = static_cast<std::size_t>(std::min(endCell * cells_.side, source_.width));
    for (std::size_t i = 0; i < fields_.size(); ++i) cellRow_.at(fields_[i], y, first, end, rows_[i]);
    refineRun(rules, levels_.row(0), plate, rows_, keyed, first, end);
  }

  const ConstFrame& source_;
  const CellMeans& cells_;
  const Fields& fields_;
  deep::RowBuffer levels_;
  deep::Backdrop::Rows plate_;
  CellRow cellRow_;
  FieldRows rows_;
};

// One picture, or a field of one; of the same size.
void refinePicture(const RefineInput& input, const ConstFrame& source, const Frame& keyed, const Workers* workers) {
  const AlphaRules rules = rulesOf(input.settings, input.plate->keepsShadows);
  const KALVETRA_Param param = makeRecord(input.settings, nullptr, nullptr, source.width, source.height);
  const deep::Backdrop backdrop(source, rules.blueScreen, param, input.plate, workers);
  const CellMeans cells = gatherMeans(source, keyed, backdrop, rules.blueScreen, workers);
  const Fields fields = fieldsOf(cells, input.plate->noise, workers);
  const Bands bands(workers, source.height);
  std::vector<RowRefiner> refiners;
  for (int band = 0; band < bands.count(); ++band) {
    refiners.emplace_back(source, backdrop, cells, fields, bands.first(band));
  }
  bands.run([&](int band, int first, int end) {
    for (int y = first; y < end; ++y) {
      refiners[static_cast<std::size_t>(band)].refine(rules, y, deep::floatsOf(keyed, y));
    }
  });
}

}  // namespace

void refineKey(const RefineInput& input, const Frame& keyed, const Workers* workers) {
  const KeySettings& settings = input.settings;
  if (settings.refine == 0 || settings.smoothBG == 0 || settings.edgeContract != 0 || settings.edgeBlur != 0 ||
      !keysSomething(settings))
    return;
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
