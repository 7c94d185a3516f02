#include "refine/cells.h"

#include <algorithm>
#include <vector>

#include "deep/rows.h"
#include "engine/bands.h"
#include "refine/colors.h"

namespace kalvetra::refine {

namespace {

using deep::ConstRow;
using deep::RowBuffer;
using plates::Plane;

// What is added up of a cell.
enum Sum {
  kRed,
  kGreen,
  kBlue,
  kScreenRed,
  kScreenGreen,
  kScreenBlue,
  kEngineRed,
  kEngineGreen,
  kEngineBlue,
  kAlpha,
  kSolid,
  kSums
};

struct Sums {
  explicit Sums(int width) : memory(static_cast<std::size_t>(width) * kSums) {}
  float* of(int sum, int width) { return memory.data() + static_cast<std::ptrdiff_t>(sum) * width; }
  std::vector<float> memory;
};

int cellSide(int height) { return std::max(1, (height + 135) / 270); }

// Adds a row of pixels to its columns' sums.
void addRow(ConstRow source, ConstRow screen, ConstRow keyed, int width, Sums& sums) {
  float* to[kSums];
  for (int s = 0; s < kSums; ++s) to[s] = sums.of(s, width);
  for (int x = 0; x < width; ++x) {
    const float alpha = coverage(keyed.alpha[x], source.alpha[x]), open = 1.0f - alpha;
    to[kRed][x] += source.red[x] - open * screen.red[x];
    to[kGreen][x] += source.green[x] - open * screen.green[x];
    to[kBlue][x] += source.blue[x] - open * screen.blue[x];
    to[kScreenRed][x] += screen.red[x];
    to[kScreenGreen][x] += screen.green[x];
    to[kScreenBlue][x] += screen.blue[x];
    to[kEngineRed][x] += alpha * keyed.red[x];
    to[kEngineGreen][x] += alpha * keyed.green[x];
    to[kEngineBlue][x] += alpha * keyed.blue[x];
    to[kAlpha][x] += alpha;
    to[kSolid][x] += std::clamp((alpha - 0.9f) * 12.5f, 0.0f, 1.0f);
  }
}

constexpr float kNothing = 1e-3f;  // less alpha than this has no colour

void storeCell(const float* sum, int pixels, std::size_t at, Cells& cells, Plane& solid) {
  const float share = 1.0f / static_cast<float>(pixels);
  const float perAlpha = sum[kAlpha] > kNothing * static_cast<float>(pixels) ? 1.0f / sum[kAlpha] : 0.0f;
  Color own, screen, engine;
  for (std::size_t c = 0; c < 3; ++c) {
    cells.own[c][at] = own[c] = sum[kRed + c] * perAlpha;
    cells.screen[c][at] = screen[c] = sum[kScreenRed + c] * share;
    cells.keyed[c][at] = engine[c] = sum[kEngineRed + c] * perAlpha;
  }
  cells.cover[at] = sum[kAlpha] * share;
  cells.engine[at] = std::clamp(chromaShare(own, screen) - chromaShare(engine, screen), -1.0f, 1.0f);
  solid[at] = sum[kSolid] * share;
}

// The distance from open cells: soft in how open they are.
Plane depthOf(const Plane& solid, float unit) {
  const float deepest = kDeepest * unit;
  Plane below(solid.width, solid.height), slope(solid.width, solid.height, 1.0f);
  for (std::size_t i = 0; i < below.values.size(); ++i) {
    below[i] = -deepest * plates::smoothStep(0.5f, 0.95f, solid[i]);
  }
  Plane depth = envelope(below, slope);
  for (float& v : depth.values) v = -v / unit;
  return depth;
}

}  // namespace

Cells cellsOf(const ConstFrame& source, const deep::Backdrop& backdrop, const ConstFrame& keyed, bool blueScreen,
              const Workers* workers) {
  const int width = keyed.width, height = keyed.height;
  Cells cells;
  const int side = cells.side = cellSide(height);
  cells.unit = static_cast<float>(height) / (1080.0f * static_cast<float>(side));
  const int columns = (width + side - 1) / side, rows = (height + side - 1) / side;
  for (std::size_t c = 0; c < 3; ++c) cells.own[c] = cells.screen[c] = cells.keyed[c] = Plane(columns, rows);
  cells.cover = cells.engine = Plane(columns, rows);
  Plane solid(columns, rows);
  const Bands bands(workers, rows);
  struct Memory {
    RowBuffer rows;
    deep::Backdrop::Rows screen;
    Sums sums;
  };
  std::vector<Memory> memory;
  for (int band = 0; band < bands.count(); ++band) {
    memory.push_back({RowBuffer(width, 2), {backdrop, bands.first(band) * side, 1}, Sums(width)});
  }
  bands.run([&](int band, int first, int end) {
    auto& [buffer, screen, sums] = memory[static_cast<std::size_t>(band)];
    for (int cellY = first; cellY < end; ++cellY) {
      std::fill(sums.memory.begin(), sums.memory.end(), 0.0f);
      const int top = cellY * side, bottom = std::min(top + side, height);
      for (int y = top; y < bottom; ++y) {
        loadRow(source, y, blueScreen, buffer.row(0));
        loadRow(keyed, y, blueScreen, buffer.row(1));
        addRow(buffer.row(0), screen.row(y), buffer.row(1), width, sums);
      }
      for (int cellX = 0; cellX < columns; ++cellX) {
        const int left = cellX * side, right = std::min(left + side, width);
        float sum[kSums] = {};
        for (int s = 0; s < kSums; ++s) {
          const float* column = sums.of(s, width);
          for (int x = left; x < right; ++x) sum[s] += column[x];
        }
        storeCell(sum, (bottom - top) * (right - left), cells.cover.index(cellX, cellY), cells, solid);
      }
    }
  });
  cells.depth = depthOf(solid, cells.unit);
  return cells;
}

}  // namespace kalvetra::refine
