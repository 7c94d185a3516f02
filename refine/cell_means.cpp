#include "refine/cell_means.h"

#include <algorithm>
#include <vector>

#include "deep/keyed_pictures.h"
#include "deep/rows.h"
#include "engine/bands.h"
#include "refine/pixel_kernels.h"

namespace kalvetra::refine {

namespace {

// Where each sum goes.
std::vector<Plane*> targets(CellMeans& cells) {
  std::vector<Plane*> planes;
  const auto add = [&](Planes& three) {
    for (Plane& plane : three) planes.push_back(&plane);
  };
  add(cells.color);
  planes.push_back(&cells.alpha);
  add(cells.unmixed);
  planes.push_back(&cells.unmixedWeight);
  add(cells.opaque);
  for (Plane* plane : {&cells.opaqueWeight, &cells.opaqueTone, &cells.opaqueLuma, &cells.residual, &cells.clear}) {
    planes.push_back(plane);
  }
  return planes;
}

// Gathers the rows of cells, one after the other.
class CellRows {
 public:
  CellRows(const ConstFrame& source, const deep::Backdrop& backdrop, int firstRow)
      : source_(source),
        levels_(source.width, 1),
        plate_(backdrop, firstRow, 1),
        sums_(source.width),
        least_(source.width, 1) {}

  void gather(int cellRow, const ConstFrame& keyed, bool blueScreen, CellMeans& cells,
              const std::vector<Plane*>& planes) {
    const int first = cellRow * cells.side, end = std::min(source_.height, first + cells.side);
    const auto pixels = static_cast<std::size_t>(source_.width);
    const std::size_t room = deep::RowBuffer::room(source_.width);
    for (std::size_t i = 0; i < CellSum::kCount; ++i) std::fill_n(sums_[i], room, 0.0f);
    std::fill_n(least_.row(0).red, room, 1.0f);
    for (int y = first; y < end; ++y) {
      deep::loadRow(source_, y, blueScreen, levels_.row(0));
      addRow(levels_.row(0), plate_.row(y), reinterpret_cast<const float*>(keyed.row(y)), blueScreen, pixels, sums_,
             least_.row(0).red);
    }
    for (int cx = 0; cx < cells.alpha.width; ++cx) {
      const int left = cx * cells.side, right = std::min(source_.width, left + cells.side);
      const float share = 1.0f / static_cast<float>((right - left) * (end - first));
      const std::size_t at = cells.alpha.index(cx, cellRow);
      for (std::size_t i = 0; i < planes.size(); ++i) {
        float sum = 0.0f;
        for (int x = left; x < right; ++x) sum += sums_[i][x];
        (*planes[i])[at] = sum * share;
      }
      cells.least[at] = *std::min_element(least_.row(0).red + left, least_.row(0).red + right);
    }
  }

 private:
  const ConstFrame& source_;
  deep::RowBuffer levels_;
  deep::Backdrop::Rows plate_;
  SumRows sums_;
  deep::RowBuffer least_;
};

}  // namespace

int cellSide(int lines) {
  constexpr int kCells = 270;
  return std::max(1, (lines + kCells / 2) / kCells);
}

CellMeans gatherMeans(const ConstFrame& source, const ConstFrame& keyed, const deep::Backdrop& backdrop,
                      bool blueScreen, const Workers* workers) {
  CellMeans cells;
  cells.side = cellSide(source.height);
  const int width = (source.width + cells.side - 1) / cells.side;
  const int height = (source.height + cells.side - 1) / cells.side;
  const std::vector<Plane*> planes = targets(cells);
  for (Plane* plane : planes) *plane = Plane(width, height);
  cells.least = Plane(width, height);
  const Bands bands(workers, height);
  std::vector<CellRows> rows;
  for (int band = 0; band < bands.count(); ++band) {
    rows.emplace_back(source, backdrop, bands.first(band) * cells.side);
  }
  bands.run([&](int band, int first, int end) {
    for (int y = first; y < end; ++y) {
      rows[static_cast<std::size_t>(band)].gather(y, keyed, blueScreen, cells, planes);
    }
  });
  return cells;
}

}  // namespace kalvetra::refine
