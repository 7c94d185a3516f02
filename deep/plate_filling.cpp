// The holes of a plate: filled row by row between what survives on either side, then settled along the columns from
// their borders inwards. In bytes every step truncates, and the key is tuned to what that takes: it is taken here on
// the mean.
#include <algorithm>
#include <array>
#include <cmath>

#include "deep/plate_kernels.h"
#include "deep/small_plate.h"

namespace kalvetra::deep {

namespace {

using Color = std::array<float, 4>;

constexpr float kTruncation = 0.5f;  // levels that truncating to bytes takes on the mean

Color colorAt(const float* pixel) { return {pixel[0], pixel[1], pixel[2], pixel[3]}; }

// Of what survives, or the key colour, which bytes hold, where nothing does.
Color averageColor(const SmallPlate& plate, HoleMap& surviving, const KALVETRA_Param& param) {
  Color sums{};
  int count = 0;
  for (int y = 0; y < plate.height(); ++y) {
    const float* pixel = plate.row(y);
    const unsigned char* survives = surviving.row(y);
    Color row{};
    for (int x = 0; x < plate.width(); ++x, pixel += 4) {
      if (survives[x] == 0) continue;
      for (std::size_t c = 0; c < 3; ++c) row[c] += pixel[c];
      ++count;
    }
    for (std::size_t c = 0; c < 3; ++c) sums[c] += row[c];
  }
  for (std::size_t c = 0; c < 3; ++c) {
    sums[c] = count == 0 ? static_cast<float>(param.keyColor[c][0]) : sums[c] / static_cast<float>(count) - kTruncation;
  }
  return sums;
}

// A ramp between the run's neighbours, next to a border their one colour. It stops short of the right neighbour's: a
// hole of one pixel lies a third of the way. Truncation takes nothing from neighbours that are the same level in bytes,
// as they are the less often, the farther apart they lie.
void fillRun(SmallPlate& plate, int y, int first, int end, const Color& average) {
  float* const row = plate.row(y);
  const bool hasLeft = first > 0, hasRight = end < plate.width();
  const Color left = hasLeft ? colorAt(row + 4 * (first - 1)) : hasRight ? colorAt(row + 4 * end) : average;
  const Color right = hasRight ? colorAt(row + 4 * end) : left;
  const float steps = static_cast<float>(end - first + 2);
  Color start = left, rise{};
  for (std::size_t c = 0; c < 3; ++c) {
    rise[c] = right[c] - left[c];
    start[c] -= kTruncation * std::min(std::abs(rise[c]), 1.0f);
  }
  float* pixel = row + 4 * first;
  for (int k = 1; k <= end - first; ++k, pixel += 4) {
    for (std::size_t c = 0; c < 3; ++c) pixel[c] = start[c] + rise[c] * static_cast<float>(k) / steps;
  }
}

// The picture with its columns one after the other.
class Columns {
 public:
  explicit Columns(const SmallPlate& plate)
      : height_(plate.height()),
        pixels_(std::size_t{4} * static_cast<unsigned>(plate.width()) * static_cast<unsigned>(height_)) {
    for (int y = 0; y < height_; ++y) {
      for (int x = 0; x < plate.width(); ++x) std::copy_n(plate.row(y) + 4 * x, 4, at({x, y}));
    }
  }
  const float* data() const { return pixels_.data(); }
  float* at(simd::Cell c) {
    return pixels_.data() +
           std::size_t{4} * (static_cast<unsigned>(c.x) * static_cast<unsigned>(height_) + static_cast<unsigned>(c.y));
  }

 private:
  int height_;
  std::vector<float> pixels_;
};

// Every hole takes the mean of its column within a reach that grows by one pixel a pass, as the columns were before the
// pass.
void settle(SmallPlate& plate, HoleStates& states) {
  Columns columns(plate);
  std::vector<float> means;
  for (int reach = 1; !states.frontier().empty(); reach = std::min(reach + 1, plate.height())) {
    const std::vector<simd::Cell>& frontier = states.frontier();
    means.resize(frontier.size() * 4);
    columnMeans(columns.data(), plate.height(), frontier, reach, means.data());
    for (std::size_t i = 0; i < frontier.size(); ++i) std::copy_n(means.data() + i * 4, 4, columns.at(frontier[i]));
    states.advance();
  }
  for (const simd::Cell cell : states.holes()) std::copy_n(columns.at(cell), 4, plate.row(cell.y) + 4 * cell.x);
}

}  // namespace

void fillHoles(SmallPlate& plate, HoleMap& surviving, const KALVETRA_Param& param) {
  const Color average = averageColor(plate, surviving, param);
  HoleStates states(surviving, plate.width(), plate.height());
  states.forEachRun([&](int y, int first, int end) { fillRun(plate, y, first, end, average); });
  settle(plate, states);
}

}  // namespace kalvetra::deep
